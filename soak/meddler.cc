// Pulls and replaces cables, stalls cameras, spoils frames and makes calls fail.
#include <cerrno>

#include "soak/shared_state.h"

namespace soak {
namespace {

using zosim::Moment;
using zosim::Step;
using zosim::UnplugMode;

void Pull(SharedState& shared, zosim::VirtualCamera& device, Dice& dice) {
  const auto mode = dice.OneIn(2) ? UnplugMode::kPlain : UnplugMode::kTransfersFailFirst;
  const auto pull = [camera = &device, mode] { camera->Unplug(mode); };
  constexpr std::array<Moment, 6> kMoments = {Moment::kPollReady,       Moment::kBeforeDequeue,
                                              Moment::kBeforeQueue,     Moment::kBeforeStreamOn,
                                              Moment::kBeforeStreamOff, Moment::kBeforeOpen};
  shared.findings.Add(Count::kPulls);
  if (dice.OneIn(2)) return pull();
  device.ClearFaults();  // one at a time, or those that never come would pile up
  if (dice.OneIn(3)) {
    const auto moment = dice.OneIn(2) ? Moment::kBeforeTransfer : Moment::kAfterTransfer;
    return device.At(moment, pull, static_cast<unsigned>(dice.Below(3)));
  }
  device.At(kMoments[dice.Below(kMoments.size())], pull);
}

void FailACall(SharedState& shared, zosim::VirtualCamera& device, Dice& dice) {
  struct Fault {
    Step step;
    int error;
  };
  constexpr std::array<Fault, 14> kFaults = {{{Step::kOpen, EACCES},
                                              {Step::kTransfer, EIO},
                                              {Step::kTransfer, EPIPE},
                                              {Step::kSetFormat, EBUSY},
                                              {Step::kSetParm, EIO},
                                              {Step::kRequestBuffers, ENOSPC},
                                              {Step::kQueryBuffer, EIO},
                                              {Step::kMap, ENODEV},
                                              {Step::kQueueBuffer, EIO},
                                              {Step::kStreamOn, ENOSPC},
                                              {Step::kStreamOff, EIO},
                                              {Step::kPoll, EINTR},
                                              {Step::kDequeueBuffer, EAGAIN},
                                              {Step::kDequeueBuffer, EIO}}};
  const Fault fault = kFaults[dice.Below(kFaults.size())];
  device.ClearFaults();
  device.FailStep(fault.step, fault.error, static_cast<unsigned>(dice.Below(4)));
  shared.findings.Add(Count::kCallFaults);
}

// Enumerates beside the owners, with handles of its own to cameras that are streaming.
void Visit(SharedState& shared) {
  const std::lock_guard setup(shared.setupMutex);
  _ZoDev** devices = nullptr;
  uint32_t count = 0;
  uint32_t hostError = 0;
  shared.findings.Expect("ZoLib_GetDevices", ZoLib_GetDevices(&devices, &count, &hostError),
                         {0, 3, 13});
  for (uint32_t i = 0; i < count; ++i) ZoLib_Release(devices[i]);
  ZoLib_ReleaseArray(devices);
}

void DisturbStream(zosim::VirtualCamera& device, Dice& dice) {
  switch (dice.Below(4)) {
    case 0:
      return device.SetStalled(true);
    case 1:
      return device.BreakTransfers();
    case 2:
      return device.SpoilFrames(static_cast<unsigned>(dice.Below(4)), zosim::Spoiled::kDropped);
    default:
      return device.SpoilFrames(static_cast<unsigned>(dice.Below(4)), zosim::Spoiled::kDelivered);
  }
}

void Plug(zosim::VirtualCamera& device) {
  device.SetStalled(false);
  device.firmware().StopBusy();
  device.Plug();
}

}  // namespace

void Meddle(SharedState& shared, Dice dice, Pulse& pulse) {
  while (shared.Sleep(dice.Between(10, 250))) {
    pulse.Beat();
    const size_t chosen = dice.Below(shared.cameras.size());
    zosim::VirtualCamera& device = *shared.cameras[chosen]->device;
    if (!device.Plugged()) {
      if (dice.OneIn(2)) Plug(device);
      continue;
    }
    switch (dice.Below(8)) {
      case 0:
      case 1:
        Pull(shared, device, dice);
        break;
      case 2:
        FailACall(shared, device, dice);
        break;
      case 3:
        DisturbStream(device, dice);
        break;
      case 4:
        device.firmware().ScriptTransfer(static_cast<uint8_t>(dice.Between(1, 12)),
                                         zosim::TransferResult::NoAnswer());
        break;
      case 5:
        // Busy until somebody ends it: the owner, a pulled cable, or the last line below.
        device.firmware().ScriptBusy(zosim::kForever);
        break;
      case 6:
        if (dice.OneIn(4)) Visit(shared);
        break;
      default:
        device.SetStalled(false);
        device.firmware().StopBusy();
    }
  }
  for (const auto& camera : shared.cameras) {
    camera->device->ClearFaults();
    Plug(*camera->device);
  }
}

}  // namespace soak
