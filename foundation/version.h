// What the library says of itself in traces and as the global variable "MyVersion".
#pragma once

inline constexpr const char kLibraryVersion[] = "tamba 1.0.0";
