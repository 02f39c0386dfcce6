// What marks the cameras of the family among all others: the vendor, and the high byte of the
// product.
#ifndef ZOCAM_TOOLS_CAMERA_FAMILY_H
#define ZOCAM_TOOLS_CAMERA_FAMILY_H

constexpr bool IsOfFamily(unsigned vendorId, unsigned productId) {
  return vendorId == 0x7A11 && productId >> 8 == 0x61;
}

#endif
