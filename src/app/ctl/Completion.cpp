#include "app/ctl/Completion.h"

namespace tessaline::ctl {
namespace {

/// The option that a parameter such as "[--json]" stands for; empty when it is none.
std::string optionOf(const CompletionEntry& command) {
  const std::string& parameter = command.parameter;
  return parameter.starts_with("[--") ? parameter.substr(1, parameter.size() - 2) : std::string();
}

/// Bash has no descriptions; names of screens may hold spaces and quotes, so each is one line here
/// and quoted for the command line.
std::string bashScript(const std::vector<CompletionEntry>& commands) {
  std::string names;
  std::string options;
  for (const auto& command : commands) {
    names += (names.empty() ? "" : " ") + command.name;
    const std::string option = optionOf(command);
    if (!option.empty()) options += "    " + command.name + ") words='" + option + "' ;;\n";
  }
  return "_tessalinectl() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} words= name\n"
         "  COMPREPLY=()\n"
         "  ((COMP_CWORD <= 2)) || return 0\n"
         "  if ((COMP_CWORD == 1)); then words='" +
         names +
         "'\n"
         "  else case ${COMP_WORDS[1]} in\n" +
         options +
         "    completion) words='bash zsh fish' ;;\n"
         "    start)\n"
         "      while IFS= read -r name; do\n"
         "        [[ $name == \"$current\"* ]] && COMPREPLY+=(\"$(printf %q \"$name\")\")\n"
         "      done < <(tessalinectl screens 2>/dev/null)\n"
         "      return 0 ;;\n"
         "  esac; fi\n"
         "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
         "}\n"
         "complete -F _tessalinectl tessalinectl\n";
}

std::string quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'' || c == '\\') quoted += '\\';
    quoted += c;
  }
  return quoted + '\'';
}

std::string fishScript(const std::vector<CompletionEntry>& commands) {
  const std::string line = "complete -c tessalinectl ";
  std::string script = line + "-f\n";
  for (const auto& command : commands) {
    script += line + "-n __fish_use_subcommand -a " + command.name + " -d " +
              quoted(command.purpose) + "\n";
    const std::string option = optionOf(command);
    if (!option.empty()) {
      script += line + "-n '__fish_seen_subcommand_from " + command.name + "' -l " +
                option.substr(2) + "\n";
    }
  }
  script += line +
            "-n '__fish_seen_subcommand_from start' -a '(tessalinectl screens 2>/dev/null)'\n" +
            line + "-n '__fish_seen_subcommand_from completion' -a 'bash zsh fish'\n";
  return script;
}

}  // namespace

std::optional<std::string> completionScript(const std::string& shell,
                                            const std::vector<CompletionEntry>& commands) {
  if (shell == "bash") return bashScript(commands);
  if (shell == "zsh") return "autoload -U +X bashcompinit && bashcompinit\n" + bashScript(commands);
  if (shell == "fish") return fishScript(commands);
  return std::nullopt;
}

}  // namespace tessaline::ctl
