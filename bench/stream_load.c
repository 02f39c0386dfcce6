/* A user's program whose load is measured: takes frames from a camera at its high rate, or plays a
 * recording, for some seconds and tells what that cost.
 * Usage: stream_load NODE-OR-RECORDING SECONDS drop|rainbow [FILE to record to] */
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <time.h>
#include <zocam/zocam.h>

typedef struct Load {
  int makesPictures;
  uint8_t* picture;
  uint32_t pictureBytes;
  atomic_uint frames;
  atomic_uint pictures;
} Load;

static int OnFrame(_ZoDev* dev, uint8_t* frame, uint64_t length, void* user) {
  Load* load = user;
  (void)length;
  if (load->makesPictures) {
    if (ZoLib_Decode(dev, frame, load->picture, load->pictureBytes, 0,
                     ZO_FMT_RAINBOW_RGB24 + ZO_GAIN_NONLINEAR) == ZO_STATUS_OK)
      atomic_fetch_add(&load->pictures, 1);
    ZoLib_FinishDecode(dev);
  }
  atomic_fetch_add(&load->frames, 1);
  return 0;
}

static int OnEnd(_ZoDev* dev, void* user) { return (void)dev, (void)user, 0; }

static double CpuSeconds(void) {
  struct rusage used;
  getrusage(RUSAGE_SELF, &used);
  return (double)(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
         (double)(used.ru_utime.tv_usec + used.ru_stime.tv_usec) / 1e6;
}

static double Now(void) {
  struct timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  return (double)now.tv_sec + (double)now.tv_nsec / 1e9;
}

static void Pause(double seconds) {
  const struct timespec pause = {.tv_sec = (time_t)seconds,
                                 .tv_nsec = (long)((seconds - (double)(time_t)seconds) * 1e9)};
  nanosleep(&pause, NULL);
}

static long ResidentKiB(void) {
  long kib = 0;
  char line[128];
  FILE* status = fopen("/proc/self/status", "r");
  while (status != NULL && fgets(line, sizeof line, status) != NULL) {
    if (strncmp(line, "VmRSS:", 6) == 0) kib = strtol(line + 6, NULL, 10);
  }
  if (status != NULL) fclose(status);
  return kib;
}

int main(int argc, char** argv) {
  if (argc < 4) return fprintf(stderr, "stream_load: too few arguments\n"), 1;
  const double seconds = strtod(argv[2], NULL);
  Load load = {.makesPictures = strcmp(argv[3], "rainbow") == 0};
  const int isCamera = strncmp(argv[1], "/dev/", 5) == 0;
  _ZoDev* dev = NULL;
  uint32_t hostError = 0;
  ZoStatus status = isCamera ? ZoLib_GetDeviceByDeviceFile(argv[1], &dev, &hostError)
                             : ZoLib_FileReadSetup(&dev, argv[1], OnFrame, OnEnd, &load);
  if (status == ZO_STATUS_OK) {
    load.pictureBytes = 3U * ZoLib_GetFrameWidth(dev) * ZoLib_GetFrameHeight(dev);
    load.picture = malloc(load.pictureBytes);
    if (load.picture == NULL) status = ZO_STATUS_NO_MEMORY;
  }
  if (status == ZO_STATUS_OK) status = ZoLib_CaptureSetup(dev, 1, OnFrame, &load);
  if (status == ZO_STATUS_OK && argc > 4) status = ZoLib_FileWriteSetup(dev, argv[4]);
  if (status == ZO_STATUS_OK && argc > 4) status = ZoLib_FileWriteStart(dev);
  if (status == ZO_STATUS_OK) status = ZoLib_CaptureStart(dev);
  if (status != ZO_STATUS_OK) {
    fprintf(stderr, "stream_load: %s: %s\n", argv[1], ZoLib_GetErrorMessage(status));
    return 1;
  }
  Pause(1.0); /* past all that is done once */
  const unsigned framesBefore = load.frames;
  const double cpuBefore = CpuSeconds();
  const double before = Now();
  Pause(seconds);
  const double cpu = CpuSeconds() - cpuBefore;
  const double wall = Now() - before;
  printf(
      "{\"cpuShare\": %.6f, \"framesPerSecond\": %.2f, \"pictures\": %u, \"residentKiB\": %ld}\n",
      cpu / wall, (load.frames - framesBefore) / wall, load.pictures, ResidentKiB());
  ZoLib_Release(dev);
  free(load.picture);
  return 0;
}
