// Zones for tests.
#pragma once

#include <platform/clock.h>

constexpr PlZone kUtc = {0};
constexpr PlZone kNewYork = {300, 60, {3, 2, 0, 2}, {11, 1, 0, 2}};
constexpr PlZone kBerlin = {-60, 60, {3, 5, 0, 2}, {10, 5, 0, 3}};
constexpr PlZone kSydney = {-600, 60, {10, 1, 0, 2}, {4, 1, 0, 3}};
constexpr PlZone kKathmandu = {-345};
