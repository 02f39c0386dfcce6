#include "sim/kernel/call_log.h"

#include <cstring>
#include <iomanip>
#include <sstream>
#include <utility>

namespace zosim {

void CallLog::Add(LogEntry entry) {
  entry.at = std::chrono::steady_clock::now();
  if (entries_.size() == kMostEntries) entries_.pop_front();
  entries_.push_back(std::move(entry));
}

std::string LogEntry::Describe() const {
  std::ostringstream text;
  text << "video" << node << " fd " << fd << ' ' << name;
  if (call == Call::kTransfer) {
    text << " selector " << int{selector} << ':' << std::hex << std::uppercase << std::setfill('0');
    for (const uint8_t byte : bytes) text << ' ' << std::setw(2) << int{byte};
  } else {
    text << ' ' << arguments[0] << ' ' << arguments[1];
  }
  if (error != 0) text << " -> " << strerror(error);
  return text.str();
}

}  // namespace zosim
