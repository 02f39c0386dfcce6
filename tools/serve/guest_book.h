// The connections there are: no more than a bounded number, and all of them can be closed. The last
// to let go of a connection may be any thread; all else is the network thread's.
#ifndef ZOCAM_TOOLS_SERVE_GUEST_BOOK_H
#define ZOCAM_TOOLS_SERVE_GUEST_BOOK_H

#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <utility>
#include <vector>

namespace serve {

class GuestBook {
 public:
  static constexpr size_t kMostGuests = 256;

  // What a connection holds for as long as it lives, and hands on when it becomes something else.
  class Ticket {
   public:
    explicit Ticket(GuestBook& book) : book_(book) {
      const std::lock_guard lock(book_.mutex_);
      book_.tickets_.insert(this);
    }
    ~Ticket() {
      const std::lock_guard lock(book_.mutex_);
      book_.tickets_.erase(this);
    }
    Ticket(const Ticket&) = delete;
    Ticket& operator=(const Ticket&) = delete;
    // Ends whoever holds it now.
    std::function<void()> close;

   private:
    GuestBook& book_;
  };

  // Null when there are too many, and after CloseAll.
  std::unique_ptr<Ticket> Enter() {
    {
      const std::lock_guard lock(mutex_);
      if (isClosed_ || tickets_.size() >= kMostGuests) return nullptr;
    }
    return std::make_unique<Ticket>(*this);
  }
  void CloseAll() {
    std::vector<std::function<void()>> closes;
    {
      const std::lock_guard lock(mutex_);
      isClosed_ = true;
      for (const Ticket* ticket : tickets_)
        if (ticket->close) closes.push_back(ticket->close);
    }
    for (const auto& close : closes) close();
  }

 private:
  std::mutex mutex_;  // guards what follows
  std::set<Ticket*> tickets_;
  bool isClosed_ = false;
};

using Ticket = std::unique_ptr<GuestBook::Ticket>;

}  // namespace serve

#endif
