// zocam serve: cameras and recordings in the browsers of a room.
#include <CLI/CLI.hpp>
#include <charconv>
#include <csignal>
#include <cstdio>
#include <memory>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/end_signal.h"
#include "tools/serve/server.h"

namespace {

using serve::Server;
using serve::ServerOptions;

// "ADDRESS:PORT", "[::1]:PORT", ":PORT" or an address alone.
void ParseListen(const std::string& text, ServerOptions& options) {
  const size_t bracket = text.rfind(']');
  const size_t colon = text.find(':', bracket == std::string::npos ? 0 : bracket);
  std::string address = text.substr(0, colon);
  if (address.starts_with('[') && address.ends_with(']'))
    address = address.substr(1, address.size() - 2);
  if (!address.empty()) options.address = address;
  if (colon == std::string::npos) return;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data() + colon + 1, end, options.port);
  if (error != std::errc{} || stop != end)
    throw ToolError("\"" + text + "\" is no address to listen on; write it as 127.0.0.1:8470");
}

bool IsUsableToken(const std::string& token) {
  return token.find_first_not_of(
             "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.~") ==
         std::string::npos;
}

int Serve(ServerOptions& options, const std::string& listen) {
  if (!IsUsableToken(options.token))
    throw ToolError(
        "a token is made of letters, digits, '-', '_', '.' and '~': it goes into addresses");
  if (!listen.empty()) ParseListen(listen, options);
  NoticeEndSignals();
  std::signal(SIGPIPE, SIG_IGN);
  Server server(options);
  const std::string query = options.token.empty() ? "" : "?token=" + options.token;
  std::printf("open %s%s in a browser; Ctrl-C ends\n", server.Address().c_str(), query.c_str());
  std::fflush(stdout);
  server.Run([] { return EndSignal() != 0; });
  return StatusAfterSignal(EndSignal());
}

}  // namespace

void AddServeCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("serve", "show cameras and recordings in web browsers");
  struct Options {
    ServerOptions server;
    std::string listen;
  };
  const auto options = std::make_shared<Options>();
  command
      ->add_option(
          "DEVICE", options->server.house.names,
          "serial numbers or nodes of cameras, and recordings; left out: all cameras, also "
          "those that come later")
      ->type_name("");
  command
      ->add_option("--listen", options->listen,
                   "where to wait for browsers (127.0.0.1:8470); any other address than loopback "
                   "needs a token")
      ->type_name("ADDR:PORT");
  command
      ->add_option("--token", options->server.token,
                   "a word that viewers must know; in the address as ?token=WORD; also "
                   "ZOCAM_TOKEN in the environment, which other users do not see")
      ->envname("ZOCAM_TOKEN")
      ->type_name("WORD");
  command
      ->add_option("--recordings", options->server.recordings,
                   "folder of the recordings that viewers make and see (the current one)")
      ->type_name("FOLDER");
  command->add_flag("--high-rate", options->server.house.highRate,
                    "25.9 instead of 8.6 frames per second, on models that have it");
  command->callback([&action, options] {
    action = [options] { return Serve(options->server, options->listen); };
  });
}
