#include "tools/serve/api.h"

#include <array>
#include <boost/asio/post.hpp>
#include <chrono>
#include <memory>
#include <utility>

#include "tools/advice.h"
#include "tools/measurement.h"
#include "tools/serve/page_files.h"
#include "tools/serve/picture_wish.h"
#include "tools/serve/request_error.h"
#include "tools/source.h"

namespace serve {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view kApi = "/api/v1/";
constexpr int kMostNesting = 8;  // deeper than anything that is meant
// Before the first flat-field correction there is no image; that takes seconds.
constexpr int kMostFramesTried = 1000;

Json ParseBody(const Request& request) {
  if (request.body().empty()) return Json::object();
  Json json = ParseJson(request.body());
  if (json.is_discarded()) throw RequestError("the request's body is no JSON");
  return json;
}

std::string Target(const Request& request) {
  return std::string(request.target().data(), request.target().size());
}

Reply MethodError(const Request& request) {
  return ErrorReply(Status::method_not_allowed,
                    std::string(request.method_string()) + " is not possible here");
}

bool IsReading(const Request& request) {
  return request.method() == Verb::get || request.method() == Verb::head;
}

Reply NotFound(const std::string& what) {
  return ErrorReply(Status::not_found, "there is no " + what);
}

Json Palettes() {
  const auto colours = [](uint32_t format) { return Json(zocam::Palette(format)); };
  Json grey = Json::array();
  for (uint32_t level = 0; level < 1024; ++level) grey.push_back((level >> 2) * 0x010101U);
  return {{"iron", colours(ZO_FMT_IRON_RGB24)},
          {"rainbow", colours(ZO_FMT_RAINBOW_RGB24)},
          {"gray", grey}};
}

std::string TableOf(const zocam::TemperatureImage& image) {
  std::string text;
  for (size_t i = 0; i < image.values.size(); ++i) {
    char cell[16];
    std::snprintf(cell, sizeof cell, "%.2f%c", image.Celsius(i),
                  (i + 1) % image.width == 0 ? '\n' : ',');
    text += cell;
  }
  return text;
}

bool IsSnapshot(std::string_view name) {
  return name == "snapshot.png" || name == "snapshot16.png" || name == "snapshot.csv";
}

std::string TextOf(const std::vector<uint8_t>& bytes) {
  return std::string(bytes.begin(), bytes.end());
}

Reply BytesReply(const std::string& type, std::string bytes) {
  Reply reply;
  reply.type = type;
  reply.body = std::move(bytes);
  return reply;
}

Reply SnapshotReply(const std::string& source, const std::string& kind, const WishedPicture& wished,
                    const PictureStyle& style) {
  if (wished.image.values.empty())
    return ErrorReply(Status::conflict, "there is no image now: see the source's state");
  Reply reply;
  if (kind == "snapshot.csv") {
    reply = BytesReply("text/csv", TableOf(wished.image));
  } else {
    reply = BytesReply("image/png",
                       TextOf(kind == "snapshot16.png"
                                  ? EncodePng(wished.image, Quantity::kTemperature, wished.origin)
                                  : EncodePng(Compose(wished, style), wished.origin)));
  }
  reply.saveAs = source + "-" + kind;
  return reply;
}

// Of a recording, at the time that the address tells.
WishedPicture FilmPicture(const std::string& path, const std::string& target,
                          const PictureStyle& style) {
  const std::string at = QueryValue(target, "at");
  char* end = nullptr;
  const double seconds = at.empty() ? 0.0 : std::strtod(at.c_str(), &end);
  if (!(seconds >= 0.0 && seconds < 1e9) || (end != nullptr && *end != '\0'))
    throw RequestError("at is a time in seconds");
  zocam::Recording film =
      OpenRecording(path, std::chrono::milliseconds(static_cast<int64_t>(seconds * 1000)));
  for (int i = 0; i < kMostFramesTried; ++i) {
    const auto frame = film.NextFrame(0ms);
    if (!frame) break;
    if (const auto image = frame->TryTemperatures())
      return MakePicture(*frame, *image, film, style);
  }
  return {};
}

}  // namespace

Json ParseJson(const std::string& text) {
  bool isTooDeep = false;
  Json json = Json::parse(
      text,
      [&isTooDeep](int depth, Json::parse_event_t, const Json&) {
        isTooDeep = isTooDeep || depth > kMostNesting;
        return !isTooDeep;
      },
      false);
  return isTooDeep ? Json(Json::value_t::discarded) : json;
}

Reply JsonReply(const Json& json, Status status) {
  Reply reply;
  reply.status = status;
  reply.body = json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  return reply;
}

Reply ErrorReply(Status status, const std::string& message) {
  return JsonReply({{"error", message}}, status);
}

bool SplitApiPath(const std::string& path, ApiPath* parts) {
  if (!path.starts_with(kApi)) return false;
  std::string_view rest = std::string_view(path).substr(kApi.size());
  const auto take = [&rest] {
    const size_t end = std::min(rest.find('/'), rest.size());
    std::string part(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
    return part;
  };
  parts->kind = take();
  parts->name = take();
  parts->rest = std::string(rest);
  return true;
}

template <typename Work>
void Api::Later(boost::asio::thread_pool& pool, const Send& send, Work work) {
  boost::asio::post(pool, [send, work = std::move(work)] {
    try {
      send(work());
    } catch (const RequestError& error) {
      send(ErrorReply(Status::bad_request, error.what()));
    } catch (const ToolError& error) {
      send(ErrorReply(Status::conflict, error.what()));
    } catch (const zocam::Error& error) {
      send(ErrorReply(Status::conflict, WithAdvice(error.what(), Advice(error))));
    } catch (const std::exception& error) {
      send(ErrorReply(Status::internal_server_error, error.what()));
    }
  });
}

Reply Api::Login(const Request& request) const {
  const Json body = ParseBody(request);
  const std::string token = body.is_object() && body.contains("token") && body["token"].is_string()
                                ? body["token"].get<std::string>()
                                : "";
  if (!access_.IsToken(token)) return ErrorReply(Status::unauthorized, "the token is wrong");
  Reply reply;
  reply.status = Status::no_content;
  reply.cookie = std::string(kTokenCookie) + "=" + token + "; HttpOnly; SameSite=Strict; Path=/";
  return reply;
}

void Api::Handle(const Request& request, const Send& send) {
  const std::string path = PathOf(Target(request));
  ApiPath parts;
  try {
    if (!SplitApiPath(path, &parts)) {
      const PageFile* const file = FindPageFile(path);
      if (file == nullptr) return send(NotFound("such page"));
      if (!IsReading(request)) return send(MethodError(request));
      return send(BytesReply(file->type, std::string(file->bytes)));
    }
    if (parts.kind == "login") {
      return send(request.method() == Verb::post ? Login(request) : MethodError(request));
    }
    if (parts.kind == "palettes")
      return send(IsReading(request) ? JsonReply(Palettes()) : MethodError(request));
    if (parts.kind == "sources") return HandleSource(request, parts, send);
    if (parts.kind == "recordings") return HandleRecordings(request, parts, send);
    send(NotFound("such address"));
  } catch (const RequestError& error) {
    send(ErrorReply(Status::bad_request, error.what()));
  } catch (const ToolError& error) {
    send(ErrorReply(Status::conflict, error.what()));
  } catch (const std::exception& error) {
    send(ErrorReply(Status::bad_request, error.what()));
  }
}

void Api::HandleSource(const Request& request, const ApiPath& path, const Send& send) {
  const bool reads = IsReading(request);
  if (path.name.empty()) {
    if (!reads) return send(MethodError(request));
    return send(JsonReply({{"version", ZOCAM_VERSION}, {"sources", house_.Describe()}}));
  }
  CameraStation* const station = house_.Camera(path.name);
  if (station == nullptr && !house_.Film(path.name)) return send(NotFound("such source"));
  if (path.rest.starts_with("snapshot")) return HandleSnapshot(request, path, send);
  if (station == nullptr) {
    for (const Json& source : house_.Describe())
      if (source["id"] == path.name && path.rest.empty() && reads) return send(JsonReply(source));
    return send(ErrorReply(Status::conflict, "a recording has no such thing; cameras have"));
  }
  if (path.rest.empty() && reads) return send(JsonReply(station->Describe()));
  if (path.rest == "settings" && request.method() == Verb::patch) {
    return Later(control_, send,
                 [station, body = ParseBody(request)] { return JsonReply(station->Change(body)); });
  }
  if (path.rest == "spots") {
    if (reads) return send(JsonReply(station->MeasureSpots()));
    if (request.method() == Verb::put)
      return send(JsonReply(station->SetSpots(ParseBody(request))));
  }
  if (path.rest == "recording") return HandleRecording(request, *station, send);
  if (path.rest == "settings" || path.rest == "spots" || path.rest.empty())
    return send(MethodError(request));
  send(NotFound("such address"));
}

void Api::HandleRecording(const Request& request, CameraStation& station, const Send& send) {
  if (request.method() == Verb::delete_) {
    return Later(control_, send, [&station] { return JsonReply(station.StopRecording()); });
  }
  if (request.method() != Verb::post) return send(MethodError(request));
  const Json body = ParseBody(request);
  std::string name = body.is_object() && body.contains("name") && body["name"].is_string()
                         ? body["name"].get<std::string>()
                         : "";
  const std::filesystem::path path = recordings_.PathForNew(&name, station.Id());
  Later(control_, send, [&station, path, name] {
    return JsonReply(station.StartRecording(path, name), Status::created);
  });
}

void Api::HandleSnapshot(const Request& request, const ApiPath& path, const Send& send) {
  if (!IsSnapshot(path.rest)) return send(NotFound("such address"));
  if (!IsReading(request)) return send(MethodError(request));
  const std::string target = Target(request);
  if (const auto film = house_.Film(path.name)) {
    return Later(workers_, send, [film = *film, target, path, style = StyleOf(target)] {
      return SnapshotReply(path.name, path.rest, FilmPicture(film, target, style), style);
    });
  }
  // Made of the next frame, by the thread that decodes it, and encoded elsewhere.
  const PictureStyle style = StyleOf(target);
  const auto fulfil = [this, send, path, style](const WishedPicture& wished) {
    Later(workers_, send,
          [path, wished, style] { return SnapshotReply(path.name, path.rest, wished, style); });
  };
  if (!house_.Camera(path.name)->Wish({style, fulfil}))
    send(SnapshotReply(path.name, path.rest, {}, style));
}

void Api::HandleRecordings(const Request& request, const ApiPath& path, const Send& send) {
  if (!IsReading(request)) return send(MethodError(request));
  if (path.name.empty()) {
    return Later(workers_, send, [this] { return JsonReply(recordings_.List()); });
  }
  const auto file = recordings_.PathOf(path.name);
  if (!file) return send(NotFound("recording of that name"));
  if (path.rest.empty()) {
    Reply reply = BytesReply("video/x-yuv4mpeg", "");
    reply.file = *file;
    return send(std::move(reply));
  }
  if (IsSnapshot(path.rest)) {
    const std::string target = Target(request);
    return Later(workers_, send, [film = file->string(), target, path, style = StyleOf(target)] {
      return SnapshotReply(path.name, path.rest, FilmPicture(film, target, style), style);
    });
  }
  if (path.rest != "thumbnail.png") return send(NotFound("such address"));
  Later(workers_, send, [this, name = path.name]() -> Reply {
    const std::vector<uint8_t> png = recordings_.Thumbnail(name);
    if (png.empty()) return NotFound("picture in this recording");
    return BytesReply("image/png", TextOf(png));
  });
}

}  // namespace serve
