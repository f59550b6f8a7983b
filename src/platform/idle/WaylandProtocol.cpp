// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// The interface descriptions that wayland-scanner generates in C, compiled here as C++ since
// the project builds no C. The header comes first so that they keep C linkage and external
// linkage (a const without an earlier extern would be local to this file in C++); the tests'
// compositor uses them too.
extern "C" {
#include "ext-idle-notify-v1-client-protocol.h"

// Hidden visibility cannot follow the header's plain declarations; within one program it
// changes nothing anyway.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wattributes"
#include "ext-idle-notify-v1-protocol.c"
#pragma GCC diagnostic pop
}
