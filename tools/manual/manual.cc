#include "tools/manual/manual.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <sstream>
#include <vector>

namespace {

using Options = std::vector<const CLI::Option*>;
using Commands = std::vector<const CLI::App*>;

Commands SubcommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App* command) { return !command->get_name().empty(); });
}

Options OptionsOf(const CLI::App& app, bool positional) {
  return app.get_options([&](const CLI::Option* option) {
    return option->get_positional() == positional && !option->get_group().empty();
  });
}

// Text that troff shows as it is.
std::string Plain(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const bool startsLine = result.empty() || result.back() == '\n';
    if (startsLine && (c == '.' || c == '\'')) result += "\\&";
    if (c == '-') {
      result += "\\-";
    } else if (c == '\\') {
      result += "\\e";
    } else {
      result += c;
    }
  }
  return result;
}

std::string UpperCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

// "[DEVICE]", "COMMAND", "WORDS..."
std::string PositionalUsage(const CLI::Option& option) {
  std::string text = option.get_name(true);
  if (option.get_expected_max() > 1) text += "...";
  return option.get_required() ? text : "[" + text + "]";
}

std::string SynopsisOf(const CLI::App& command, const std::string& path) {
  std::string line = ".B " + Plain(path) + "\n";
  if (!OptionsOf(command, false).empty()) line += "[\\fIOPTIONS\\fR]\n";
  for (const CLI::Option* option : OptionsOf(command, true))
    line += "\\fI" + Plain(PositionalUsage(*option)) + "\\fR\n";
  return line;
}

std::string OptionEntry(const CLI::Option& option) {
  std::string entry = ".TP\n\\fB" + Plain(option.get_name(option.get_positional(), true)) + "\\fR";
  if (!option.get_positional() && option.get_expected_max() > 0 && !option.get_type_name().empty())
    entry += " \\fI" + Plain(option.get_type_name()) + "\\fR";
  entry += "\n" + Plain(option.get_description());
  if (!option.get_default_str().empty())
    entry += "\n(default: " + Plain(option.get_default_str()) + ")";
  return entry + "\n";
}

std::string OptionEntries(const CLI::App& command) {
  std::string text;
  for (const CLI::Option* option : OptionsOf(command, true)) text += OptionEntry(*option);
  std::string group = "Options";  // their own heading needs none
  for (const CLI::Option* option : OptionsOf(command, false)) {
    // Told once, at the top.
    if (command.get_parent() != nullptr && option == command.get_help_ptr()) continue;
    if (option->get_group() != group) text += ".PP\n" + Plain(option->get_group()) + ":\n";
    group = option->get_group();
    text += OptionEntry(*option);
  }
  return text;
}

// A command that only has commands of its own shows these instead of itself.
void AppendCommand(std::string& text, const CLI::App& command, const std::string& path) {
  const Commands nested = SubcommandsOf(command);
  for (const CLI::App* one : nested) AppendCommand(text, *one, path + " " + one->get_name());
  if (!nested.empty()) return;
  text += ".SS " + Plain(path) + "\n" + SynopsisOf(command, path) + ".PP\n" +
          Plain(command.get_description()) + ".\n" + OptionEntries(command);
}

// Words after which completion stands at a command, as a case pattern; and what may follow.
void AppendCase(std::string& script, const CLI::App& command, const std::string& path) {
  script += "    \"" + path + "\") words=\"";
  for (const CLI::App* one : SubcommandsOf(command)) script += one->get_name() + " ";
  for (const CLI::Option* option : OptionsOf(command, false)) {
    std::istringstream names(option->get_name(false, true));
    for (std::string name; std::getline(names, name, ',');) script += name + " ";
  }
  script.back() = '"';
  script += " ;;\n";
  for (const CLI::App* one : SubcommandsOf(command))
    AppendCase(script, *one, path + " " + one->get_name());
}

}  // namespace

std::string ManPage(const CLI::App& app, const std::string& version, const std::string& seeAlso) {
  const std::string& name = app.get_name();
  const std::string description = app.get_description();
  std::string page = ".TH " + UpperCase(Plain(name)) + " 1 \"\" \"" + version +
                     "\" \"User Commands\"\n.SH NAME\n" + Plain(name) + " \\- " +
                     Plain(description.substr(0, description.find_first_of(":\n"))) + "\n";
  const Commands commands = SubcommandsOf(app);
  page += ".SH SYNOPSIS\n";
  page += commands.empty()
              ? SynopsisOf(app, name) + "\\-\\- \\fIPROGRAM\\fR [\\fIARGUMENTS\\fR...]\n"
              : ".B " + Plain(name) + "\n\\fICOMMAND\\fR [\\fIOPTIONS\\fR]\n";
  page += ".SH DESCRIPTION\n" + Plain(description) + "\n.SH OPTIONS\n" + OptionEntries(app);
  if (!commands.empty()) {
    page += ".SH COMMANDS\n";
    for (const CLI::App* command : commands)
      AppendCommand(page, *command, name + " " + command->get_name());
  }
  if (!app.get_footer().empty()) page += ".SH NOTES\n.nf\n" + Plain(app.get_footer()) + "\n.fi\n";
  page += ".SH EXIT STATUS\n";
  page += commands.empty() ? "That of the program; 2 for wrong usage, 126 and 127 when the program "
                             "cannot be run.\n"
                           : "0 done, 1 failed (the reason is printed), 2 wrong usage.\n";
  return page + ".SH SEE ALSO\n.BR " + Plain(seeAlso) + "\n";
}

std::string BashCompletion(const CLI::App& app) {
  std::string function = "_" + app.get_name();
  std::ranges::replace(function, '-', '_');
  std::string script = "# bash completion for " + app.get_name() + "\n" + function + "() {\n" +
                       "  local current=\"${COMP_WORDS[COMP_CWORD]}\" path=\"" + app.get_name() +
                       "\" word words candidate=\"\"\n"
                       "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
                       "    candidate=\"$path $word\"\n"
                       "    case \"$candidate\" in\n      ";
  std::vector<std::string> paths;
  const auto collect = [&](const auto& self, const CLI::App& command,
                           const std::string& path) -> void {
    for (const CLI::App* one : SubcommandsOf(command)) {
      paths.push_back("\"" + path + " " + one->get_name() + "\"");
      self(self, *one, path + " " + one->get_name());
    }
  };
  collect(collect, app, app.get_name());
  for (size_t i = 0; i < paths.size(); ++i) script += (i == 0 ? "" : " | ") + paths[i];
  if (paths.empty()) script += "\"\"";
  script += ") path=\"$candidate\" ;;\n    esac\n  done\n  case \"$path\" in\n";
  AppendCase(script, app, app.get_name());
  return script +
         "  esac\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "}\n"
         "complete -o bashdefault -o default -F " +
         function + " " + app.get_name() + "\n";
}
