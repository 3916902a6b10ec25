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
  eExitNotCertified = 15,  // validate: a check failed
};

}  // namespace tools
