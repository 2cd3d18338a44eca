#pragma once

/// @file
/// A set of 32 flags.

#include "frame/export.h"
#include "frame/host_memory.h"

/// A set of 32 flags in one word. Objects are plain values; separate ones may be used by separate threads.
class CORVIDNUM_API Bitmap : public HostAllocated {
 public:
  /// The number of a flag, from 0. Any other number names no flag: it sets and clears nothing and tests as 0.
  // clang-format off
  enum BitIndex : int {
    Bit0, Bit1, Bit2, Bit3, Bit4, Bit5, Bit6, Bit7,
    Bit8, Bit9, Bit10, Bit11, Bit12, Bit13, Bit14, Bit15,
    Bit16, Bit17, Bit18, Bit19, Bit20, Bit21, Bit22, Bit23,
    Bit24, Bit25, Bit26, Bit27, Bit28, Bit29, Bit30, Bit31,
  };
  // clang-format on

  /// Makes a set with all flags clear.
  Bitmap();
  /// Copies the flags.
  Bitmap(const Bitmap& other) = default;
  /// Copies the flags.
  Bitmap& operator=(const Bitmap& other);
  /// Does nothing.
  ~Bitmap();

  /// Sets one flag.
  void set(BitIndex i);
  /// Clears one flag.
  void clear(BitIndex i);
  /// Returns 1 if the flag is set, else 0.
  unsigned char test(BitIndex i) const;
  /// Clears all flags.
  void clearAll();

 private:
  friend class Accel;

  static const unsigned bitMask[32];     // 1 << i
  static const unsigned notBitMask[32];  // ~(1 << i)

  unsigned bits;
};
