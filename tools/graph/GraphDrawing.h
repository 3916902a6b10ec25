// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>

#include "inspect/Picture.h"
#include "tools/graph/SessionGraph.h"

namespace tools {

/// A session's clients and connections as an SVG document: sources on the left, their targets to
/// the right of them, clients without connections below. It follows the viewer's light or dark
/// scheme, and needs no fonts of its own. The same picture makes the same bytes.
///
/// Its classes begin with "g-"; each client's group has its ID in `data-id`, as printable text.
std::string graphSvg(const inspect::SessionPicture& session, const GraphOptions& options);

}  // namespace tools
