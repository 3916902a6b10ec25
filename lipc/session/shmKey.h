// SPDX-License-Identifier: BSL-1.0
#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

namespace LIPC {

/// Folder and prefix of the key files.
inline constexpr char cKeyFilePrefix[] = "/tmp/LIPC_";

/// "/tmp/LIPC_" followed by the name, unaltered.
std::string keyFilePath(const char* name);

/// The System V key of a segment name. Makes the name's key file, or deliberately rewrites it empty
/// if it is there: the key comes from the file's identity and stays as long as the file is not
/// deleted. A file that cannot be written (another user's) still gives its key.
/// Returns -1 when there is no such file; that is logged at error level. Nothing may be created
/// under -1: every name without a key would share that segment.
/// Threads: any.
key_t shmKey(const char* name);

/// As shmKey for a reader that leaves no trace: writes no file and logs nothing. -1 when the key
/// file does not exist. Threads: any.
key_t existingShmKey(const char* name);

/// Makes the key file young again, if it is there, so that no cleaner of /tmp takes it away from a
/// session that has run for days. Changes neither its identity nor its contents. Threads: any.
void refreshKeyFile(const char* name);

/// Replaces the key file by a new one, which has another identity and so, most probably, another
/// key. For who holds the registration lock and an ID that nobody else carries. False, with errno,
/// when the file may not be replaced (another user's). Threads: any.
bool renewKeyFile(const char* name);

/// The segment names of all key files on this machine. Threads: any.
std::vector<std::string> namesWithKeyFiles();

}  // namespace LIPC
