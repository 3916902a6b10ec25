// SPDX-License-Identifier: BSL-1.0
#pragma once

namespace tools {

/// What the lipc command tells its caller. docs/errors.md says what to do about each.
enum eExitStatus : int {
  eExitOK = 0,
  eExitFailure = 1,        // something unexpected
  eExitUsage = 2,          // the command line
  eExitSessionAlive = 3,   // a session is alive; nothing was touched
  eExitLibrary = 4,        // a processor library cannot be used
  eExitNoSession = 5,      // there is no session
  eExitNoClient = 6,       // no client of that ID
  eExitClientMissing = 7,  // a loaded library's client did not join in time
  eExitSessionFailed = 8,  // the session cannot be made
  eExitNoLayout = 9,       // no speaker layout of that key
  eExitRefused = 10,       // a change that was not confirmed
  eExitNoValue = 11,       // no parameter or string of that name, or no such value
  eExitNoConnection = 12,  // no such connection
  eExitFindings = 13,      // something is wrong
  eExitSnapshot = 14,      // a snapshot cannot be read
  eExitNotCertified = 15,  // a library failed a check
  eExitNoPermission = 16,  // another user's
  eExitNotDone = 17,       // the session did not do what was asked in time
  eExitCannotServe = 18,   // the page cannot be served
  eExitDamaged = 19,       // what should be read is damaged
  eExitOtherVersion = 20,  // a session of another protocol version or pointer width
};

}  // namespace tools
