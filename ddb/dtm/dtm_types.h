// Shared scalar types and sentinels of the timing model.
#pragma once

#include <cstdint>

// Every line number, count and index of the model.
using DTM_SHORT = std::int16_t;

// An absent or unevaluable integer delay (one above the smallest 32-bit
// integer, deliberately not the smallest itself).
inline constexpr std::int32_t DTM_ILLEGAL_DELAY = -2147483647;
// An absent or unevaluable floating-point delay.
inline constexpr double DTM_ILLEGAL_FLOAT = -123456789.9;
// What the float-table lookups answer for an absent delay.
inline constexpr double DTM_ILLEGAL_TABLE_FLOAT = -2147483647.0;
