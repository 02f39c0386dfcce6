// The camera's firmware behind the extension unit: registers, requests and their status answers.
//
// It knows nothing of how transfers reach it. All members may be called from any thread: a test
// scripts it while the host talks to it.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "sim/model/camera_config.h"
#include "sim/model/extension_unit.h"

namespace zosim {

constexpr unsigned kForever = ~0u;

// How one request (read, write or run) is answered.
struct Answer {
  unsigned busyPolls = 0;  // status reads answered "busy" first; kForever until StopBusy()
  uint8_t state = 0;       // 0 done, 1 firmware error, 2 sensor error, others mean nothing
  uint8_t code = 0;
};

class Firmware {
 public:
  explicit Firmware(const CameraConfig& config);

  // Scripting. Each answer serves one request, in order; later requests succeed at once.
  void ScriptAnswer(Answer answer);
  void ScriptBusy(unsigned polls) { ScriptAnswer({polls, 0, 0}); }
  void ScriptFirmwareError(uint8_t code) { ScriptAnswer({0, 1, code}); }
  void ScriptSensorError(int8_t code) { ScriptAnswer({0, 2, static_cast<uint8_t>(code)}); }
  void StopBusy();  // ends the busy answers of the request under way
  // The next `times` transfers on the selector end this way and reach nothing.
  void ScriptTransfer(uint8_t selector, TransferResult result, unsigned times = 1);

  // State.
  void SetRegister(uint16_t command, std::vector<uint8_t> data);
  std::vector<uint8_t> Register(uint16_t command) const;  // empty when never written
  // Answer data of read command 0xFF01 for one argument word.
  void SetPage(uint16_t argument, std::vector<uint8_t> data);
  std::vector<uint16_t> RunCommands() const;  // command words run so far
  void SetActive(uint8_t state);
  void SetConfigWord(uint16_t word);
  uint16_t ConfigWord() const;
  using Clock = std::array<uint8_t, 8>;
  std::optional<Clock> LastClock() const;  // none until the host set it
  // True once after the host asked for a reconnect with bit 15 of the configuration word.
  bool TakeReconnectRequest();
  // Power-on state, after a reconnect or replug. Scripts, registers and counters stay.
  void Restart();

  // A transfer: a request of the USB video class on a control. `data` goes in with SET_CUR and
  // comes out of all others.
  TransferResult Transfer(uint8_t request, uint8_t selector, std::vector<uint8_t>& data);

 private:
  struct Response {
    Answer answer;
    std::vector<uint8_t> data;
  };

  // Of the control's size (ControlFor).
  TransferResult SetCurrent(uint8_t selector, std::span<const uint8_t> data);
  TransferResult GetCurrent(uint8_t selector, std::span<uint8_t> data);
  std::optional<TransferResult> TakeScripted(uint8_t selector);
  void StartRead(std::span<const uint8_t> request);
  void StartWrite(std::span<const uint8_t> request, size_t room);
  Response NewResponse();
  void ReadStatus(Response& response, std::span<uint8_t> data);
  void ReadIdentity(std::span<uint8_t> data) const;

  mutable std::mutex mutex_;  // guards everything below
  const CameraConfig config_;
  std::deque<Answer> answers_;
  std::map<uint8_t, std::pair<TransferResult, unsigned>> scriptedTransfers_;
  std::map<uint16_t, std::vector<uint8_t>> registers_;
  std::map<uint16_t, std::vector<uint8_t>> pages_;
  std::vector<uint16_t> runCommands_;
  Response read_;
  Response write_;
  Response run_;
  uint8_t active_ = 1;
  uint16_t configWord_ = 0;
  std::optional<Clock> clock_;
  bool reconnectRequested_ = false;
};

}  // namespace zosim
