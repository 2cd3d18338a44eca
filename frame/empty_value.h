#pragma once

/// @file
/// The values that stand for "missing".

/// Marks a missing value. It is compared exactly, without a tolerance.
constexpr double EmptyValue = -32767.0;

/// Marks a missing value where an int is stored.
constexpr int EmptyValueInt = -32767;
