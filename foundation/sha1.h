// The secure hash algorithm SHA-1 (FIPS 180-1).
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

using Sha1Digest = std::array<uint8_t, 20>;

Sha1Digest sha1(std::string_view message);
