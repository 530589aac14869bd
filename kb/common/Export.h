#pragma once

/// KB_API marks what the shared library exports.
///
/// The libraries are built with default visibility: exceptions and classes with run-time type information
/// cross the border between host and library, and the static and the shared library are made of the same
/// object files. So the mark is optional; it keeps a declaration exported for a build that sets hidden
/// visibility by its own flags. Where the compiler knows no visibility, the build exports every symbol itself
/// and the mark is empty.
#if defined(__GNUC__) || defined(__clang__)
#define KB_API __attribute__((visibility("default")))
#else
#define KB_API
#endif
