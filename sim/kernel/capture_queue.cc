#include "sim/kernel/capture_queue.h"

#include <algorithm>
#include <cerrno>

namespace zosim::kernel {
namespace {

// The driver may write into a queued buffer at any moment. Spoiling it at once shows those who
// still look at a buffer that they gave back.
constexpr uint8_t kQueuedPattern = 0xA5;

}  // namespace

int CaptureQueue::Allocate(uint32_t count, uint32_t length) {
  Free();
  for (uint32_t i = 0; i < count; ++i) {
    auto memory = DriverBuffer::Create(length);
    if (memory == nullptr) {
      Free();
      return ENOMEM;
    }
    slots_.emplace_back().memory = std::move(memory);
  }
  return 0;
}

void CaptureQueue::Free() {
  Stop();
  slots_.clear();
}

int CaptureQueue::Queue(uint32_t index) {
  if (index >= slots_.size() || slots_[index].holder != Holder::kProgram) return EINVAL;
  Slot& slot = slots_[index];
  slot.holder = Holder::kDriver;
  slot.error = false;
  slot.bytesUsed = 0;
  std::ranges::fill(slot.memory->bytes(), kQueuedPattern);
  waiting_.push_back(index);
  return 0;
}

int CaptureQueue::Dequeue(uint32_t* index) {
  if (!streaming_) return EINVAL;
  if (done_.empty()) return EAGAIN;
  *index = done_.front();
  done_.pop_front();
  slots_[*index].holder = Holder::kProgram;
  return 0;
}

void CaptureQueue::Start() { streaming_ = true; }

void CaptureQueue::Stop() {
  streaming_ = false;
  waiting_.clear();
  done_.clear();
  for (Slot& slot : slots_) slot.holder = Holder::kProgram;
}

CaptureQueue::Slot* CaptureQueue::NextEmpty() {
  return waiting_.empty() ? nullptr : &slots_[waiting_.front()];
}

void CaptureQueue::Complete(uint32_t bytesUsed, uint32_t sequence, bool error, Time timestamp) {
  const uint32_t index = waiting_.front();
  waiting_.pop_front();
  Slot& slot = slots_[index];
  slot.holder = Holder::kDone;
  slot.error = error;
  slot.filledOnce = true;
  slot.bytesUsed = bytesUsed;
  slot.sequence = sequence;
  slot.timestamp = timestamp;
  done_.push_back(index);
}

uint32_t CaptureQueue::OffsetOf(uint32_t index) const {
  return static_cast<uint32_t>(index * slots_[index].memory->pageRoundedLength());
}

std::shared_ptr<DriverBuffer> CaptureQueue::AtOffset(uint64_t offset) const {
  for (uint32_t i = 0; i < slots_.size(); ++i) {
    if (OffsetOf(i) == offset) return slots_[i].memory;
  }
  return nullptr;
}

}  // namespace zosim::kernel
