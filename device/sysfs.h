// The USB identity that sysfs shows for a V4L2 node.
#ifndef ZOCAM_DEVICE_SYSFS_H
#define ZOCAM_DEVICE_SYSFS_H

#include <cstddef>

#include "zocam/zocam.h"

// A sysfs line has at most this many characters, line end included; names are one shorter.
inline constexpr std::size_t kSysfsLineMax = 63;

extern "C" {

// Reads idVendor, idProduct and product of node N. name has room for kSysfsLineMax characters.
// Returns 1 when all three were read.
ZO_API uint32_t ZoLib_Priv_OsDepReadSysfsIdentity(int32_t node, uint32_t* vendorId,
                                                  uint32_t* productId, char* name);
}

// The number that a line begins with in hexadecimal, or 0.
uint32_t ParseHexLine(const char* line);

#endif
