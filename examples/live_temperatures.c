/* Live view of temperatures: prints the coldest, hottest and central one of each frame.
 * Usage: live_temperatures [NODE [FRAMES]], by default /dev/video0 until Ctrl-C. */
#include <signal.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <time.h>
#include <zocam/zocam.h>

/* What the frame callback needs. It runs on the handle's own thread. */
typedef struct View {
  uint32_t width, height;
  uint32_t imageBytes;
  uint16_t* image;
  atomic_uint frames;
} View;

static volatile sig_atomic_t stopped = 0;

static void OnSignal(int signal) { stopped = signal; }

static double Celsius(_ZoDev* dev, uint16_t value) {
  return value / (double)ZoLib_GetLastTempResolution(dev) - 273.15;
}

static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user) {
  View* view = user;
  (void)length;
  /* 22 until the camera has made its first flat-field correction. */
  if (ZoLib_Decode(dev, frame, view->image, view->imageBytes, 0, ZO_FMT_TEMP16) == ZO_STATUS_OK) {
    uint16_t low = UINT16_MAX, high = 0;
    for (uint32_t i = 0; i < view->width * view->height; ++i) {
      if (view->image[i] < low) low = view->image[i];
      if (view->image[i] > high) high = view->image[i];
    }
    const uint16_t centre = view->image[view->height / 2 * view->width + view->width / 2];
    printf("%7.2f C to %7.2f C, centre %7.2f C\n", Celsius(dev, low), Celsius(dev, high),
           Celsius(dev, centre));
    fflush(stdout);
  }
  ZoLib_FinishDecode(dev); /* the next frame is decoded afresh */
  atomic_fetch_add(&view->frames, 1);
  return 0;
}

int main(int argc, char** argv) {
  const char* node = argc > 1 ? argv[1] : "/dev/video0";
  const unsigned most = argc > 2 ? (unsigned)strtoul(argv[2], NULL, 10) : 0;
  _ZoDev* camera = NULL;
  uint32_t hostError = 0;
  ZoStatus status = ZoLib_GetDeviceByDeviceFile(node, &camera, &hostError);
  if (status != ZO_STATUS_OK) {
    fprintf(stderr, "cannot open %s: %s\n", node, ZoLib_GetErrorMessage(status));
    return 1;
  }
  View view = {.width = ZoLib_GetFrameWidth(camera), .height = ZoLib_GetFrameHeight(camera)};
  view.imageBytes = 2 * view.width * view.height;
  view.image = malloc(view.imageBytes);
  if (view.image != NULL) {
    signal(SIGINT, OnSignal);
    status = ZoLib_CaptureSetup(camera, 0, OnFrame, &view);
    if (status == ZO_STATUS_OK) status = ZoLib_CaptureStart(camera);
    const struct timespec pause = {.tv_nsec = 20000000};
    while (status == ZO_STATUS_OK && !stopped && (most == 0 || view.frames < most) &&
           !ZoLib_GetDisconnected(camera))
      nanosleep(&pause, NULL);
    ZoLib_CaptureStop(camera); /* no callback runs from here on */
  }
  if (ZoLib_GetDisconnected(camera)) fprintf(stderr, "%s was unplugged\n", node);
  if (status != ZO_STATUS_OK) fprintf(stderr, "%s\n", ZoLib_GetErrorMessage(status));
  ZoLib_Release(camera);
  free(view.image);
  return view.frames > 0 ? 0 : 1;
}
