// zocam command: one camera command, written in hexadecimal.
#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <memory>
#include <string_view>

#include "tools/advice.h"
#include "tools/commands.h"
#include "tools/source.h"

namespace {

constexpr uint16_t kReadWithArgument = 0xFF01;

struct CommandOptions {
  std::string device;
  std::string command;
  uint32_t count = 1;
  std::string argument;
  std::vector<std::string> words;
};

uint16_t ParseWord(std::string_view text) {
  const std::string whole(text);
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  uint16_t word = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), word, 16);
  if (text.empty() || error != std::errc{} || end != text.data() + text.size())
    throw ToolError("\"" + whole + "\" is no hexadecimal word (0 to FFFF)");
  return word;
}

// A command word, or its two parts: "0248" and "0200:0048" are the same command.
uint16_t ParseCommand(const std::string& text) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return ParseWord(text);
  const std::string_view parts = text;
  return ParseWord(parts.substr(0, colon)) | ParseWord(parts.substr(colon + 1));
}

int Get(const CommandOptions& options) {
  const uint16_t command = ParseCommand(options.command);
  std::vector<uint16_t> words(options.count);
  if (!options.argument.empty()) {
    if (command != kReadWithArgument)
      throw ToolError("only command FF01 takes an argument; leave out --argument");
    words.front() = ParseWord(options.argument);
  }
  OpenCamera(options.device).CommandGet(command, words);
  for (size_t i = 0; i < words.size(); ++i)
    std::printf("%s%04X", i == 0 ? "" : " ", unsigned{words[i]});
  std::printf("\n");
  return kDone;
}

int Set(const CommandOptions& options) {
  const uint16_t command = ParseCommand(options.command);
  std::vector<uint16_t> words;
  for (const std::string& text : options.words) words.push_back(ParseWord(text));
  OpenCamera(options.device).CommandSet(command, words);
  std::printf("done\n");
  return kDone;
}

int Run(const CommandOptions& options) {
  const uint16_t command = ParseCommand(options.command);
  OpenCamera(options.device).CommandRun(command);
  std::printf("done\n");
  return kDone;
}

}  // namespace

void AddCommandCommand(CLI::App& app, Action& action) {
  CLI::App* command = app.add_subcommand("command", "send a camera command");
  command->require_subcommand(1);
  const auto options = std::make_shared<CommandOptions>();
  const auto add = [&](const char* name, const char* what, int (*run)(const CommandOptions&)) {
    CLI::App* verb = command->add_subcommand(name, what);
    verb->add_option("COMMAND", options->command,
                     "hexadecimal command word, or its two parts: 0248 or 0200:0048")
        ->required();
    verb->add_option("-d,--device", options->device, "serial number or node of the camera");
    verb->callback([&action, options, run] { action = [options, run] { return run(*options); }; });
    return verb;
  };
  CLI::App* get = add("get", "read words from the camera and print them", Get);
  get->add_option("COUNT", options->count, "number of words to read")
      ->check(CLI::Range(1, 16).description(""))
      ->type_name("N")
      ->capture_default_str();
  get->add_option("--argument", options->argument, "argument word of command FF01")
      ->type_name("WORD");
  CLI::App* set = add("set", "write words to the camera", Set);
  set->add_option("WORDS", options->words, "hexadecimal words to write")
      ->required()
      ->expected(1, 16);
  add("run", "let the camera do something", Run);
}
