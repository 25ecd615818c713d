// String utilities of the platform.
#pragma once

// Exact comparison: 0 when equal, negative / positive as strcmp. A null
// pointer sorts before every string and equals only another null pointer.
int gen_strcmp(const char* a, const char* b) noexcept;

// Comparison ignoring the case of ASCII letters; nulls as gen_strcmp.
int gen_stricmp(const char* a, const char* b) noexcept;

// Writes `value` in base `radix` (2 to 36, lower-case digits, a leading '-'
// for negative values in any base) into `buffer`, which must hold at least
// 34 characters, and returns `buffer`. An invalid radix gives "".
char* gen_itoa(int value, char* buffer, int radix = 10) noexcept;
