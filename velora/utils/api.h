// VELORA_API: marks the classes and functions that the shared libraries let others use; everything
// else stays inside them. Static libraries mark nothing: what is linked into somebody's program or
// shared library belongs to that one, which does not pass it on.
//
// The CMake package and the pkg-config file define VELORA_SHARED where the libraries are shared.

#pragma once

#ifdef VELORA_SHARED
#define VELORA_API __attribute__((visibility("default")))
#else
#define VELORA_API
#endif
