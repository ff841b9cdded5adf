// What halvexboard prints about itself: see describe.h.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "board/launcher/describe.h"

#include <vector>

#include "board/launcher/options.h"
#include "board/launcher/run.h"
#include "board/scenario/callNames.h"
#include "board/scenario/vocabulary.h"

namespace halvexboard {

namespace {

// Each script offers, by the word before the cursor, files, scenarios or modes; else what belongs to the action.
constexpr const char* kBash = R"sh(_halvexboard() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} action=${COMP_WORDS[1]} offered='' index
  COMPREPLY=()
  if ((COMP_CWORD == 1)); then
    mapfile -t COMPREPLY < <(compgen -W "$actions" -- "$word")
    return
  fi
  if [[ $action == run || $action == attach ]]; then
    for ((index = 2; index < COMP_CWORD; ++index)); do
      [[ ${COMP_WORDS[index]} != -- ]] || { mapfile -t COMPREPLY < <(compgen -c -f -- "$word"); return; }
    done
  fi
  case $previous in
    --scenario) offered=$scenarios ;;
    --time) offered='virtual real' ;;
    --seed | --from | --until | --outside | --board) return ;;
  esac
  case $previous:$word:$action in
    --scenario:* | --trace:* | *:[!-]*:summary | *::summary) mapfile -t COMPREPLY < <(compgen -f -W "$offered" -- "$word") ;;
    --time:*) mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$word") ;;
    *:*:list | *:*:help) mapfile -t COMPREPLY < <(compgen -W "${own[$action]}" -- "$word") ;;
    *:-*) mapfile -t COMPREPLY < <(compgen -W "${own[$action]-}" -- "$word") ;;
    *:*:run | *:*:attach) mapfile -t COMPREPLY < <(compgen -c -- "$word") ;;
  esac
}
complete -F _halvexboard halvexboard
)sh";

constexpr const char* kZsh = R"sh(_halvexboard() {
  local previous=${words[CURRENT-1]} action=${words[2]}
  if ((CURRENT == 2)); then
    compadd -- $actions
  elif [[ $action == (run|attach) && -n ${(M)words[3,CURRENT-1]:#--} ]]; then
    _normal
  elif [[ $previous == --scenario ]]; then
    compadd -- $scenarios
    _files
  elif [[ $previous == --time ]]; then
    compadd -- virtual real
  elif [[ $previous == (--seed|--from|--until|--outside|--board) ]]; then
    _message "$previous"
  elif [[ $PREFIX == -* || $action == (list|help) ]]; then
    compadd -- ${=own[$action]}
  else
    _files
  fi
}
compdef _halvexboard halvexboard
)sh";

std::string scenarioNames() {
    std::string names;
    for (const ReadyScenario& scenario : readyScenarios()) names += (names.empty() ? "" : " ") + scenario.name;
    return names;
}

std::string topics() {
    std::string names = "scenarios";
    for (const std::string& topic : vocabularyTopics()) names += " " + topic;
    return names;
}

std::string optionsOf(const std::string& action) {
    std::string names;
    for (const OptionRow& row : optionRows())
        if (row.action == action) names += row.name + " ";
    return names + "--help";
}

std::string quoted(const std::string& text) {
    std::string word = "'";
    for (const char character : text) word += character == '\'' ? "'\\''" : std::string(1, character);
    return word + "'";
}

/// The template with the words it looks up declared behind its first line.
std::string withWords(std::string script, const std::string& declarations) {
    return script.insert(script.find('\n') + 1, declarations);
}

constexpr const char* kActionNames = "run attach ps summary list help --help --version";

std::string bashCompletion() {
    return "# Completion of halvexboard for bash.\n" +
           withWords(kBash, "  local actions='" + std::string(kActionNames) + "' scenarios='" + scenarioNames() +
                                "'\n  local -A own=([run]='" + optionsOf("run") + "' [attach]='" + optionsOf("attach") +
                                "' [summary]='" + optionsOf("summary") + "' [list]='" + topics() +
                                "' [help]='run attach ps summary list')\n");
}

std::string zshCompletion() {
    return "#compdef halvexboard\n# Completion of halvexboard for zsh.\n" +
           withWords(kZsh, "  local -a actions=(" + std::string(kActionNames) + ") scenarios=(" + scenarioNames() +
                               ")\n  local -A own=(run '" + optionsOf("run") + "' attach '" + optionsOf("attach") +
                               "' summary '" + optionsOf("summary") + "' list '" + topics() +
                               "' help 'run attach ps summary list')\n");
}

std::string fishCompletion() {
    std::string script =
        "# Completion of halvexboard for fish.\ncomplete -c halvexboard -f\n"
        "complete -c halvexboard -n __fish_use_subcommand -a 'run attach ps summary list help'\n"
        "complete -c halvexboard -n __fish_use_subcommand -l version\n"
        "complete -c halvexboard -n '__fish_seen_subcommand_from list' -a '" +
        topics() +
        "'\ncomplete -c halvexboard -n '__fish_seen_subcommand_from summary' -F\n"
        "complete -c halvexboard -n '__fish_seen_subcommand_from run attach' -a '(__fish_complete_subcommand)'\n";
    for (const OptionRow& row : optionRows()) {
        script += "complete -c halvexboard -n '__fish_seen_subcommand_from " + row.action + "' -l " +
                  row.name.substr(2) + (row.argument.empty() ? "" : " -r") + " -d " + quoted(row.help);
        if (row.name == "--scenario") script += " -a '" + scenarioNames() + "'";
        if (row.name == "--time") script += " -a 'virtual real'";
        script += row.argument == "FILE" ? " -F\n" : "\n";
    }
    return script;
}

std::string scenarioTable() {
    std::string table = "| scenario | what it is about |\n|---|---|\n";
    for (const ReadyScenario& scenario : readyScenarios())
        table += "| `" + scenario.name + "` | " + scenario.title + " |\n";
    return table;
}

}  // namespace

std::string listText(const std::string& topic) {
    if (topic == "scenarios") return scenarioTable();
    if (!topic.empty()) {
        std::string table = vocabularyTable(topic);
        if (table.empty()) throw UsageError("list has no topic " + topic + "; it has " + topics());
        return table;
    }
    std::string text = "scenarios\n\n" + scenarioTable();
    for (const std::string& each : vocabularyTopics()) text += "\n" + each + "\n\n" + vocabularyTable(each);
    return text;
}

std::string completionFor(const std::string& shell) {
    if (shell == "bash") return bashCompletion();
    if (shell == "zsh") return zshCompletion();
    if (shell == "fish") return fishCompletion();
    throw UsageError("--describe must be bash, zsh or fish");
}

}  // namespace halvexboard
