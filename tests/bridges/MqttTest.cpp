// SPDX-License-Identifier: BSL-1.0
#include "tests/support/Testing.h"
