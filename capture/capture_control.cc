#include "capture/capture_control.h"

#include "capture/v4l2_stream.h"
#include "core/callback_thread.h"
#include "core/status.h"
#include "file/playback.h"

namespace {

constexpr uint32_t kFrameRateNumerator = 259;
constexpr uint32_t kNormalRateDenominator = 30;
constexpr uint32_t kHighRateDenominator = 10;

// What every capture call checks first.
ZoStatus CheckReady(_ZoDev* dev) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  ZoLib_Priv_ClearError(dev);
  return dev->connected == 0 ? ZO_STATUS_DEVICE_NOT_READY : ZO_STATUS_OK;
}

ZoStatus StartStream(_ZoDev* dev) {
  if (dev->isFileHandle) return ZoLib_Priv_FileReadStart(dev);
  const ZoStatus status = ZoLib_Priv_OsDepObserverStart(dev);
  if (status != ZO_STATUS_OK) return status;
  return ZoLib_Priv_OsDepCaptureStart(dev);
}

}  // namespace

ZoStatus ZoLib_CaptureSetup(_ZoDev* dev, uint32_t highFrameRate, ZoFrameCallback callback,
                            void* user) {
  const ZoStatus ready = CheckReady(dev);
  if (ready != ZO_STATUS_OK) return ready;
  ZoLib_Priv_SetFrameRate(dev, highFrameRate);
  return ZoLib_Priv_OsDepCaptureSetup(dev, highFrameRate, callback, user);
}

ZoStatus ZoLib_CaptureStart(_ZoDev* dev) {
  const ZoStatus ready = CheckReady(dev);
  if (ready != ZO_STATUS_OK) return ready;
  if (dev->capturing != 0) return ZO_STATUS_OK;
  if (RunsCallbacksOf(dev)) return ZO_STATUS_INVALID_STATE;  // another thread is stopping it
  dev->capturing = 1;  // before the thread starts: it ends when it finds the flag clear
  const ZoStatus status = StartStream(dev);
  if (status != ZO_STATUS_OK) dev->capturing = 0;
  return status;
}

ZoStatus ZoLib_CaptureStop(_ZoDev* dev) {
  const ZoStatus ready = CheckReady(dev);
  if (ready != ZO_STATUS_OK) return ready;
  if (RunsCallbacksOf(dev)) return ZO_STATUS_INVALID_STATE;
  if (dev->capturing == 0) return ZO_STATUS_OK;
  return EndStream(dev);
}

ZoStatus EndStream(_ZoDev* dev) {
  dev->capturing = 0;
  if (dev->isFileHandle) return EndPlayback(dev);
  const ZoStatus status = ZoLib_Priv_OsDepCaptureStop(dev);
  ZoLib_Priv_OsDepObserverStop(dev);
  return status;
}

void ZoLib_CaptureRelease(_ZoDev* dev) {
  if (dev == nullptr || RunsCallbacksOf(dev)) return;
  ZoLib_Priv_ClearError(dev);
  EndStream(dev);
  ZoLib_Priv_OsDepCaptureRelease(dev);
}

void ZoLib_Priv_SetFrameRate(_ZoDev* dev, uint32_t highFrameRate) {
  if (dev == nullptr) return;
  const uint16_t product = dev->identityBlock.productId;
  const bool hasHighRate = product == 0x6100 || product == 0x6101;
  dev->frameRateNumerator = kFrameRateNumerator;
  dev->frameRateDenominator =
      hasHighRate && highFrameRate == 1 ? kHighRateDenominator : kNormalRateDenominator;
}

ZoStatus ZoLib_Priv_OsDepCaptureSetup(_ZoDev* dev, uint32_t /*highFrameRate*/,
                                      ZoFrameCallback callback, void* user) {
  if (dev == nullptr) return ZO_STATUS_NULL_POINTER;
  dev->callbackUser = user;
  dev->frameCallback = callback;
  return ZO_STATUS_OK;
}

void ZoLib_Priv_OsDepCaptureRelease(_ZoDev* dev) {
  if (dev == nullptr) return;
  dev->frameCallback = nullptr;
  dev->callbackUser = nullptr;
}

ZoStatus ZoLib_Priv_OsDepObserverStart(_ZoDev* /*dev*/) { return ZO_STATUS_OK; }
void ZoLib_Priv_OsDepObserverStop(_ZoDev* /*dev*/) {}

void ZoLib_Priv_OsDepSetPreProc(_ZoDev* dev, ZoPreProcHook hook) {
  if (dev != nullptr) dev->preProcHook = hook;
}
