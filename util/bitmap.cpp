// Sets, clears and tests flags by table look-up. The two mask tables are exported data, so they stay tables.

#include "util/bitmap.h"

#include "frame/module.h"

using namespace corvidnum;

namespace {

bool names_a_flag(int i) { return i >= 0 && i < 32; }

}  // namespace

const unsigned Bitmap::bitMask[32] = {
    0x00000001U, 0x00000002U, 0x00000004U, 0x00000008U, 0x00000010U, 0x00000020U, 0x00000040U, 0x00000080U,
    0x00000100U, 0x00000200U, 0x00000400U, 0x00000800U, 0x00001000U, 0x00002000U, 0x00004000U, 0x00008000U,
    0x00010000U, 0x00020000U, 0x00040000U, 0x00080000U, 0x00100000U, 0x00200000U, 0x00400000U, 0x00800000U,
    0x01000000U, 0x02000000U, 0x04000000U, 0x08000000U, 0x10000000U, 0x20000000U, 0x40000000U, 0x80000000U};

const unsigned Bitmap::notBitMask[32] = {
    0xFFFFFFFEU, 0xFFFFFFFDU, 0xFFFFFFFBU, 0xFFFFFFF7U, 0xFFFFFFEFU, 0xFFFFFFDFU, 0xFFFFFFBFU, 0xFFFFFF7FU,
    0xFFFFFEFFU, 0xFFFFFDFFU, 0xFFFFFBFFU, 0xFFFFF7FFU, 0xFFFFEFFFU, 0xFFFFDFFFU, 0xFFFFBFFFU, 0xFFFF7FFFU,
    0xFFFEFFFFU, 0xFFFDFFFFU, 0xFFFBFFFFU, 0xFFF7FFFFU, 0xFFEFFFFFU, 0xFFDFFFFFU, 0xFFBFFFFFU, 0xFF7FFFFFU,
    0xFEFFFFFFU, 0xFDFFFFFFU, 0xFBFFFFFFU, 0xF7FFFFFFU, 0xEFFFFFFFU, 0xDFFFFFFFU, 0xBFFFFFFFU, 0x7FFFFFFFU};

Bitmap::Bitmap() : bits(0) { enter_library(); }

Bitmap& Bitmap::operator=(const Bitmap& other) {
  enter_library();
  bits = other.bits;
  return *this;
}

Bitmap::~Bitmap() { enter_library(); }

void Bitmap::set(BitIndex i) {
  enter_library();
  if (names_a_flag(i)) bits |= bitMask[i];
}

void Bitmap::clear(BitIndex i) {
  enter_library();
  if (names_a_flag(i)) bits &= notBitMask[i];
}

unsigned char Bitmap::test(BitIndex i) const {
  enter_library();
  return names_a_flag(i) && (bits & bitMask[i]) != 0;
}

void Bitmap::clearAll() {
  enter_library();
  bits = 0;
}
