#include "tools/serve/access.h"

#include <algorithm>
#include <cstdint>
#include <optional>

namespace serve {
namespace {

// "name:port", "[::1]:port" or either without the port.
std::string_view WithoutPort(std::string_view host) {
  if (host.starts_with('[')) return host.substr(0, host.find(']') + 1);
  return host.substr(0, host.find(':'));
}

std::optional<uint8_t> HexDigit(char digit) {
  if (digit >= '0' && digit <= '9') return static_cast<uint8_t>(digit - '0');
  if (digit >= 'a' && digit <= 'f') return static_cast<uint8_t>(digit - 'a' + 10);
  if (digit >= 'A' && digit <= 'F') return static_cast<uint8_t>(digit - 'A' + 10);
  return std::nullopt;
}

std::optional<std::string> Decode(std::string_view text) {
  std::string decoded;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    if (i + 2 >= text.size()) return std::nullopt;
    const auto high = HexDigit(text[i + 1]);
    const auto low = HexDigit(text[i + 2]);
    if (!high || !low) return std::nullopt;
    decoded += static_cast<char>(*high << 4 | *low);
    i += 2;
  }
  // No name of ours has one, and files' names end at it.
  if (decoded.find('\0') != std::string::npos) return std::nullopt;
  return decoded;
}

}  // namespace

bool AccessRules::IsToken(std::string_view word) const {
  // In a time that tells nothing about how much of it is right.
  unsigned difference = word.size() == token_.size() ? 0 : 1;
  for (size_t i = 0; i < word.size(); ++i) {
    const char own = token_.empty() ? '\0' : token_[i % token_.size()];
    difference |= static_cast<unsigned>(own != word[i]);
  }
  return HasToken() && difference == 0;
}

Verdict AccessRules::JudgeOrigin(const Credentials& request) const {
  if (!HasToken() && !IsLoopback(WithoutPort(request.host))) return Verdict::kForeignHost;
  if (request.origin.empty()) return Verdict::kAllowed;
  for (const std::string_view scheme : {"http://", "https://"}) {
    if (request.origin.starts_with(scheme) &&
        request.origin.substr(scheme.size()) == request.host) {
      return Verdict::kAllowed;
    }
  }
  return Verdict::kForeignOrigin;
}

Verdict AccessRules::Judge(const Credentials& request) const {
  // A picture that another site's page embeds comes without an origin.
  if (request.fetchSite == "cross-site" || request.fetchSite == "same-site")
    return Verdict::kForeignOrigin;
  const Verdict origin = JudgeOrigin(request);
  if (origin != Verdict::kAllowed || !HasToken()) return origin;
  constexpr std::string_view kBearer = "Bearer ";
  std::string_view word = request.queryToken;
  if (request.authorization.starts_with(kBearer)) {
    word = request.authorization.substr(kBearer.size());
  } else if (word.empty()) {
    word = CookieValue(request.cookie, kTokenCookie);
  }
  if (word.empty()) return Verdict::kNoToken;
  return IsToken(word) ? Verdict::kAllowed : Verdict::kWrongToken;
}

std::string_view CookieValue(std::string_view cookies, std::string_view name) {
  while (!cookies.empty()) {
    const size_t end = std::min(cookies.find(';'), cookies.size());
    std::string_view pair = cookies.substr(0, end);
    cookies.remove_prefix(std::min(end + 1, cookies.size()));
    while (pair.starts_with(' ')) pair.remove_prefix(1);
    if (pair.size() > name.size() && pair.starts_with(name) && pair[name.size()] == '=') {
      return pair.substr(name.size() + 1);
    }
  }
  return {};
}

std::string QueryValue(std::string_view target, std::string_view name) {
  std::string_view query = target.substr(std::min(target.find('?'), target.size() - 1) + 1);
  while (!query.empty()) {
    const size_t end = std::min(query.find('&'), query.size());
    const std::string_view pair = query.substr(0, end);
    query.remove_prefix(std::min(end + 1, query.size()));
    if (pair.size() > name.size() && pair.starts_with(name) && pair[name.size()] == '=') {
      return Decode(pair.substr(name.size() + 1)).value_or("");
    }
  }
  return {};
}

std::string PathOf(std::string_view target) {
  return Decode(target.substr(0, target.find('?'))).value_or("");
}

bool IsLoopback(std::string_view address) {
  return address == "localhost" || address == "::1" || address == "[::1]" ||
         (address.starts_with("127.") &&
          std::ranges::all_of(address, [](char c) { return c == '.' || (c >= '0' && c <= '9'); }));
}

}  // namespace serve
