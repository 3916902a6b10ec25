// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

#include "bench/Table.h"

namespace bench {

/// The page of a run, docs/performance.md: the text of bench/performance.md.in with its lines
/// "@machine@", "@missed@" and "@tables@" replaced by what this run found. Throws
/// std::runtime_error where the template cannot be read.
std::string makePage(const std::string& templatePath, const std::string& machine,
                     const Table& table);

/// Which ratios are lost and, of a whole run, which goals met no row; one line each.
std::string complaints(const Table& table, bool isWhole);

}  // namespace bench
