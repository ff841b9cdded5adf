// Shell completion, generated from the table of verbs and options.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/cli/completion.h"

#include <fmt/format.h>

#include <map>

#include "host/cli/verbTable.h"
#include "host/errors/catalogue.h"

namespace halvexctl {
namespace {

// Each script looks up the word before the cursor in `takes`; a verb's own options are offered after that verb.
constexpr const char* kBash = R"sh(_halvexctl() {
  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} verb='' taken='' index
  local offered=$verbs
  COMPREPLY=()
  [[ $word == -* ]] || taken=${takes[$previous]-}
  case $taken in
    file)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$word")
      return
      ;;
    text) return ;;
    code) offered=$codes ;;
    verb) ;;
    *)
      for ((index = 1; index < COMP_CWORD; ++index)); do
        [[ -n ${takes[${COMP_WORDS[index-1]}]-} || " $verbs " != *" ${COMP_WORDS[index]} "* ]] || verb=${COMP_WORDS[index]}
      done
      [[ $word != -* ]] || offered="$options ${verb:+${own[$verb]-}}"
      ;;
  esac
  mapfile -t COMPREPLY < <(compgen -W "$offered" -- "$word")
}
complete -F _halvexctl halvexctl
)sh";

constexpr const char* kZsh = R"sh(_halvexctl() {
  local previous=${words[CURRENT-1]} verb='' taken='' index
  local -a offered
  [[ $PREFIX == -* ]] || taken=${takes[$previous]-}
  case $taken in
    file) _files ;;
    text) _message "$previous" ;;
    code) compadd -- $codes ;;
    verb) _describe verb verbs ;;
    *)
      for ((index = 2; index < CURRENT; ++index)); do
        [[ -n ${takes[${words[index-1]}]-} || -z ${(M)verbs:#${words[index]}:*} ]] || verb=${words[index]}
      done
      if [[ $PREFIX == -* ]]; then
        offered=($options ${(f)own[$verb]})
        _describe option offered
      else
        _describe verb verbs
      fi
      ;;
  esac
}
compdef _halvexctl halvexctl
)sh";

/// The kind of word a shell offers for "FILE", "FILE [DURATION]" and so on; empty: the next verb.
std::string_view offeredFor(std::string_view argument) {
    const std::string_view first = argument.substr(0, argument.find(' '));
    return first == "FILE" || first == "[FILE]"    ? "file"
           : first == "VERB" || first == "[VERB]"  ? "verb"
           : first == "CODE"                       ? "code"
           : first.empty() || first.front() == '[' ? ""
                                                   : "text";
}

std::string shellWord(std::string_view text) {
    std::string word = "'";
    for (const char c : text) {
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return word + "'";
}

std::string errorCodes() {
    std::string codes = "all";
    for (const ErrorEntry& entry : errorEntries()) {
        codes += fmt::format(" {}", entry.code);
    }
    return codes;
}

/// Calls `take` for the tool's options with no verb, then for each verb's own.
template <typename Take>
void forEachOption(const Take& take) {
    for (const OptionRow& option : toolOptions()) {
        take(nullptr, option);
    }
    for (const Verb& verb : verbs()) {
        for (const OptionRow& option : verb.options) {
            take(&verb, option);
        }
    }
}

/// The elements of an associative array: the argument of each verb and option that takes one.
std::string takesElements(const char* element) {
    std::string elements;
    const auto add = [&](std::string_view word, std::string_view argument) {
        if (const std::string_view offered = offeredFor(argument); !offered.empty()) {
            elements += fmt::format(fmt::runtime(element), word, offered);
        }
    };
    for (const Verb& verb : verbs()) {
        add(verb.name, verb.argument);
    }
    forEachOption([&](const Verb*, const OptionRow& option) {
        add(option.name, option.argument);
        if (option.letter != 0) {
            add(fmt::format("-{}", option.letter), option.argument);
        }
    });
    return elements;
}

std::string bashCompletion() {
    std::string names, options, own;
    for (const Verb& verb : verbs()) {
        names += fmt::format(" {}", verb.name);
        std::string ownNames;
        for (const OptionRow& option : verb.options) {
            ownNames += fmt::format(" {}", option.name);
        }
        own += ownNames.empty() ? ownNames : fmt::format(" [{}]=\"{}\"", verb.name, ownNames.substr(1));
    }
    for (const OptionRow& option : toolOptions()) {
        options += fmt::format(" {}", option.name);
    }
    std::string script = kBash;
    script.insert(script.find('\n') + 1,
                  fmt::format("  local verbs=\"{}\"\n  local options=\"{}\"\n  local codes=\"{}\"\n"
                              "  local -A own=({}) takes=({})\n",
                              names.substr(1), options.substr(1), errorCodes(), own, takesElements(" [{}]={}")));
    return "# Completion of halvexctl for bash.\n" + script;
}

std::string zshCompletion() {
    std::string names, options, own;
    for (const Verb& verb : verbs()) {
        names += " " + shellWord(fmt::format("{}:{}", verb.name, verb.summary));
        std::string ownOptions;
        for (const OptionRow& option : verb.options) {
            ownOptions += fmt::format("{}{}:{}", ownOptions.empty() ? "" : "\n", option.name, option.help);
        }
        own += ownOptions.empty() ? ownOptions : fmt::format(" {} {}", verb.name, shellWord(ownOptions));
    }
    for (const OptionRow& option : toolOptions()) {
        options += " " + shellWord(fmt::format("{}:{}", option.name, option.help));
    }
    std::string script = kZsh;
    script.insert(script.find('\n') + 1,
                  fmt::format("  local -a verbs=({}) options=({}) codes=({})\n  local -A own=({}) takes=({})\n", names,
                              options, errorCodes(), own, takesElements(" {} {}")));
    return "#compdef halvexctl\n# Completion of halvexctl for zsh.\n" + script;
}

std::string fishCompletion() {
    std::map<std::string_view, std::string> takers;  // by argument
    std::string all, rows;
    const auto add = [&](std::string_view word, std::string_view argument) {
        if (const std::string_view offered = offeredFor(argument); !offered.empty() && offered != "verb") {
            takers[offered] += fmt::format(" {}", word);
            all += fmt::format(" {}", word);
        }
    };
    for (const Verb& verb : verbs()) {
        add(verb.name, verb.argument);
        rows += fmt::format("complete -c halvexctl -n 'not __fish_prev_arg_in $halvexctl_takers' -a {} -d {}\n",
                            verb.name, shellWord(verb.summary));
    }
    forEachOption([&](const Verb* verb, const OptionRow& option) {
        add(option.name, option.argument);
        rows += fmt::format("complete -c halvexctl{}{} -l {}{} -d {}\n",
                            verb == nullptr ? "" : fmt::format(" -n '__fish_seen_subcommand_from {}'", verb->name),
                            option.letter == 0 ? "" : fmt::format(" -s {}", option.letter), option.name.substr(2),
                            option.argument.empty() ? "" : " -r", shellWord(option.help));
    });
    return fmt::format(
        "# Completion of halvexctl for fish.\ncomplete -c halvexctl -f\nset -g halvexctl_takers{}\n{}"
        "complete -c halvexctl -n '__fish_prev_arg_in{}' -F\ncomplete -c halvexctl -n '__fish_prev_arg_in{}' -a '{}'\n",
        all, rows, takers["file"], takers["code"], errorCodes());
}

}  // namespace

std::string completionFor(std::string_view shell) {
    return shell == "bash"   ? bashCompletion()
           : shell == "zsh"  ? zshCompletion()
           : shell == "fish" ? fishCompletion()
                             : "";
}

}  // namespace halvexctl
