// Who watches what. Network thread only.
#ifndef ZOCAM_TOOLS_SERVE_VIEWERS_H
#define ZOCAM_TOOLS_SERVE_VIEWERS_H

#include <map>
#include <memory>
#include <set>
#include <string>

#include "tools/serve/source_house.h"

namespace serve {

class Viewer {
 public:
  virtual ~Viewer() = default;
  // A newer frame; one that it had no time to send yet is forgotten.
  virtual void Offer(const FramePtr& frame) = 0;
  // A newer description.
  virtual void Tell(const std::string& text) = 0;
};

class Viewers {
 public:
  explicit Viewers(const SourceHouse& house) : house_(house) {}

  void Add(const std::string& source, Viewer& viewer);
  void Remove(const std::string& source, Viewer& viewer);
  size_t Count(const std::string& source) const;

  // A source has a newer frame.
  void Distribute(const std::string& source);
  // Tells viewers what has changed: at once what matters, mere counts once a second.
  void TellStates();

 private:
  struct Audience {
    std::set<Viewer*> viewers;
    std::string told;  // without counts
    int ticks = 0;     // since the last time
  };
  std::string StateOf(const std::string& source, std::string* essence) const;

  const SourceHouse& house_;
  std::map<std::string, Audience> audiences_;
};

}  // namespace serve

#endif
