#pragma once

/// The mark for a missing value. Comparisons with it are exact.
constexpr double EmptyValue = -32767.0;

/// The same mark where an int is stored.
constexpr int EmptyValueInt = -32767;
