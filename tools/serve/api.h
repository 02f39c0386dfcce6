// What the server answers to requests, apart from WebSockets and endless streams. Nothing here
// knows of connections: a request comes in, a reply goes out, at once or later and from any thread.
#ifndef ZOCAM_TOOLS_SERVE_API_H
#define ZOCAM_TOOLS_SERVE_API_H

#include <boost/asio/thread_pool.hpp>
#include <boost/beast/http.hpp>
#include <filesystem>
#include <functional>
#include <string>

#include "tools/serve/access.h"
#include "tools/serve/recordings_folder.h"
#include "tools/serve/source_house.h"

namespace serve {

using Request = boost::beast::http::request<boost::beast::http::string_body>;
using Verb = boost::beast::http::verb;
using Status = boost::beast::http::status;

struct Reply {
  Status status = Status::ok;
  std::string type = "application/json";
  std::string body;
  std::filesystem::path file;  // sent instead of the body
  std::string cookie;          // to be set
  std::string saveAs;          // the name of a file of it
};
// Discarded when it is no JSON, or nested deeper than anything that is meant.
Json ParseJson(const std::string& text);
Reply JsonReply(const Json& json, Status status = Status::ok);
Reply ErrorReply(Status status, const std::string& message);

// "/api/v1/sources/ID/REST" and "/api/v1/recordings/NAME/REST" are of a kind and have parts.
struct ApiPath {
  std::string kind;
  std::string name;
  std::string rest;
};
// False for what does not lie under the interface.
bool SplitApiPath(const std::string& path, ApiPath* parts);

class Api {
 public:
  using Send = std::function<void(Reply)>;

  // All must outlive it. The control pool has one thread.
  Api(AccessRules& access, SourceHouse& house, RecordingsFolder& recordings,
      boost::asio::thread_pool& control, boost::asio::thread_pool& workers)
      : access_(access),
        house_(house),
        recordings_(recordings),
        control_(control),
        workers_(workers) {}

  // Calls send exactly once.
  void Handle(const Request& request, const Send& send);

 private:
  void HandleSource(const Request& request, const ApiPath& path, const Send& send);
  void HandleRecordings(const Request& request, const ApiPath& path, const Send& send);
  void HandleRecording(const Request& request, CameraStation& station, const Send& send);
  void HandleSnapshot(const Request& request, const ApiPath& path, const Send& send);
  Reply Login(const Request& request) const;
  // Runs work that answers, on the pool's thread.
  template <typename Work>
  static void Later(boost::asio::thread_pool& pool, const Send& send, Work work);

  AccessRules& access_;
  SourceHouse& house_;
  RecordingsFolder& recordings_;
  boost::asio::thread_pool& control_;
  boost::asio::thread_pool& workers_;
};

}  // namespace serve

#endif
