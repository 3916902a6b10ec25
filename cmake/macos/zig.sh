# SPDX-License-Identifier: BSL-1.0

# Sourced by setup and c++, which set `here`: where the cross compiler lies, and the macOS version
# that it compiles for.
zig=$here/../../build/zig
minimum=11.0
export ZIG_GLOBAL_CACHE_DIR="$zig/cache" ZIG_LOCAL_CACHE_DIR="$zig/cache"
unset CPATH C_INCLUDE_PATH CPLUS_INCLUDE_PATH LIBRARY_PATH  # folders of this machine, not of a Mac
