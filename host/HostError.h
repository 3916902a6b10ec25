// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <stdexcept>

namespace host {

/// A session that cannot be started; the text is a whole sentence for people.
///
/// @ingroup host
class HostError : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Another host's session is alive.
///
/// @ingroup host
class SessionAliveError final : public HostError {
  using HostError::HostError;
};

}  // namespace host
