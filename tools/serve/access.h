// Who may ask: checks on a request's own words, before anything is done for it.
#ifndef ZOCAM_TOOLS_SERVE_ACCESS_H
#define ZOCAM_TOOLS_SERVE_ACCESS_H

#include <string>
#include <string_view>

namespace serve {

// What a request tells of where it comes from. Empty: it does not say.
struct Credentials {
  std::string_view host = {};           // of the Host field
  std::string_view origin = {};         // of the Origin field: the page that asks
  std::string_view authorization = {};  // of the field
  std::string_view cookie = {};         // of the field
  std::string_view queryToken = {};     // token=... of the address
  std::string_view fetchSite = {};      // of the Sec-Fetch-Site field: where the page is from
};

enum class Verdict {
  kAllowed,
  kForeignHost,    // the name under which the server was reached is none of its own
  kForeignOrigin,  // another site's page asks
  kNoToken,
  kWrongToken,
};

class AccessRules {
 public:
  // Without a token the server is for this machine alone: pages of other sites must not reach it by
  // a name of theirs that leads here.
  explicit AccessRules(std::string token) : token_(std::move(token)) {}

  bool HasToken() const { return !token_.empty(); }
  // Of requests for the page's own files, which hold no secrets.
  Verdict JudgeOrigin(const Credentials& request) const;
  // Of all others.
  Verdict Judge(const Credentials& request) const;
  bool IsToken(std::string_view word) const;

 private:
  std::string token_;
};

// The value of a name in a cookie field, or in an address's query, where it is decoded. Empty
// without one.
std::string_view CookieValue(std::string_view cookies, std::string_view name);
std::string QueryValue(std::string_view target, std::string_view name);

// "/a%20b?x=1" is "/a b"; empty when it is damaged.
std::string PathOf(std::string_view target);

inline constexpr std::string_view kTokenCookie = "zocam_token";

// Whether an address to listen on is reached from this machine only.
bool IsLoopback(std::string_view address);

}  // namespace serve

#endif
