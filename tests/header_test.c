/* The public header in C: it compiles alone, and the encoded names link. */
#include "zocam/zocam.h"

int main(void) {
  _ZoDev* dev = 0;
  char name[8];
  uint16_t wide[8];
  if (ZoLib_CreateWithoutConnect(&dev) != ZO_STATUS_OK) return 1;
  ZoLib_Invalidate(dev);
  ZoLib_GetDeviceName(dev, name, (int32_t)sizeof name);
  ZoLib_GetDeviceNameW(dev, wide, 8);
  ZoLib_Release(dev);
  return name[0] == '\0' && wide[0] == 0 && g_colTabSize == 1024 &&
                 ZoLib_GetLibVersion() == 0x010903 && ZoLib_GetSupportedFWVersion() == 0x100
             ? 0
             : 1;
}
