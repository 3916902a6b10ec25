// SPDX-License-Identifier: BSL-1.0
