#include "manual/Completion.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <set>
#include <sstream>

namespace manual {
namespace {

// In the scripts a word of a form is a token: words with | between, any of which may stand there, and of these
// <file>, <file:END>, <dir> and <any> for a name or text that the user writes. "..." behind it: any number of
// them.
std::string PartToken(const std::string& part, const Program& program, const Values& own) {
    for (const Values* values : {&own, &program.values}) {
        if (const auto found = values->find(part); found != values->end()) {
            return fmt::format("{}", fmt::join(found->second, "|"));
        }
    }
    if (part == "FILE" || part == "PATH") {
        return "<file>";
    }
    if (part == "DIR" || part == "FOLDER") {
        return "<dir>";
    }
    const bool isFree =
        std::any_of(part.begin(), part.end(), [](unsigned char c) { return std::isupper(c) != 0; });
    const auto dot = part.rfind('.');
    if (isFree && dot != std::string::npos && dot + 1 < part.size()) {
        return fmt::format("<file:{}>", part.substr(dot + 1));
    }
    return isFree ? "<any>" : part;
}

std::string Token(const std::string& word, const Program& program, const Values& own) {
    std::string token;
    std::istringstream parts(word);
    for (std::string part; std::getline(parts, part, '|');) {
        token += (token.empty() ? "" : "|") + PartToken(part, program, own);
    }
    return token;
}

// A form as tokens.
std::string Tokens(const std::string& form, const Program& program, const Values& own) {
    std::string tokens;
    std::istringstream words(form);
    for (std::string word; words >> word;) {
        if (word == "...") {  // of the word before; a choice is made once, and files follow it
            const bool isChoice = tokens.find('|', tokens.rfind(' ') + 1) != std::string::npos;
            tokens += isChoice ? " <file>..." : "...";
            continue;
        }
        const bool isAnyNumber = word.front() == '[';
        const std::string bare = isAnyNumber ? word.substr(1, word.size() - 2) : word;
        tokens += (tokens.empty() ? "" : " ") + Token(bare, program, own) + (isAnyNumber ? "..." : "");
    }
    return tokens;
}

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c == '\n' ? ' ' : c);
    }
    return quoted + "'";
}

std::string Joined(const std::string& first, const std::string& second) {
    return first + (first.empty() || second.empty() ? "" : " ") + second;
}

// The tables of a script. A row of the options: how many words stand before it at least; the form to which it
// belongs; its name; the token of its value, empty for a switch; its help.
struct Tables {
    explicit Tables(const Program& program) {
        AddOptions(program.options, 0, "", program, {});
        for (const Group& group : program.groups) {
            AddOptions(group.options, group.prefix.empty() ? 0 : 1, group.prefix, program, {});
            for (const Command& command : group.commands) {
                Add(group, command, program);
            }
        }
    }

    std::string forms;
    std::string options;
    std::string help;  // pairs: words, what they do

  private:
    void Add(const Group& group, const Command& command, const Program& program) {
        const std::string name = Joined(group.prefix, command.name);
        const auto words = static_cast<std::size_t>(std::count(name.begin(), name.end(), ' ')) + 1;
        std::vector<std::string> tokens;
        for (const std::string& form : command.forms) {
            tokens.push_back(Joined(name, Tokens(form, program, command.values)));
        }
        if (tokens.empty()) {
            tokens.push_back(name);
        }
        for (const std::string& form : tokens) {
            forms += Row(form);
        }
        AddOptions(command.options, words, tokens.size() == 1 ? tokens[0] : name, program, command.values);
        if (!command.help.empty() && m_told.insert(name).second) {
            help += fmt::format("        {} {}\n", Quoted(name), Quoted(command.help));
        }
    }

    void AddOptions(const std::vector<Option>& rows, std::size_t words, const std::string& form,
                    const Program& program, const Values& own) {
        for (const Option& option : rows) {
            std::istringstream names(option.name);
            for (std::string name; std::getline(names, name, ',');) {
                options += Row(fmt::format("{};{};{};{};{}", words, form, name, Token(option.value, program, own),
                                           option.help));
            }
        }
    }

    static std::string Row(const std::string& text) { return fmt::format("        {}\n", Quoted(text)); }

    std::set<std::string> m_told;
};

std::string Filled(std::string script, const Program& program) {
    const Tables tables(program);
    for (const auto& [mark, text] : {std::pair<std::string, std::string>{"@FORMS@\n", tables.forms},
                                     {"@OPTIONS@\n", tables.options},
                                     {"@HELP@\n", tables.help},
                                     {"@NAME@", program.name}}) {
        for (auto at = script.find(mark); at != std::string::npos; at = script.find(mark, at + text.size())) {
            script.replace(at, mark.size(), text);
        }
    }
    return script;
}

constexpr const char* kBash = R"(# Completion of @NAME@ for bash; made by "@NAME@ completion bash".

# Whether the words typed so far go with the form $1; $next is then the token of the one that follows.
_@NAME@_fits() {
    local -a form
    local i token
    read -ra form <<< "$1"
    next=
    for ((i = 0; i <= ${#typed[@]}; i++)); do
        token=${form[i]-}
        if [[ -z $token && ${#form[@]} -gt 0 && ${form[${#form[@]} - 1]} == *... ]]; then
            token=${form[${#form[@]} - 1]}
        fi
        if ((i == ${#typed[@]})); then
            next=$token
        elif [[ -n $token && $token != *'<'* && "|${token%...}|" != *"|${typed[i]}|"* ]]; then
            return 1
        fi
    done
    return 0
}

# The row of the option $1 goes to $row.
_@NAME@_option() {
    local need form name rest next
    for row in "${options[@]}"; do
        IFS=';' read -r need form name rest <<< "$row"
        if [[ $name == "$1" ]] && ((need <= ${#typed[@]})) && _@NAME@_fits "$form"; then
            return 0
        fi
    done
    row=
    return 1
}

# Offers what the token $1 stands for.
_@NAME@_offer() {
    local -a parts found=()
    local part
    IFS='|' read -ra parts <<< "${1%...}"
    for part in "${parts[@]}"; do
        case $part in
            '<file>') mapfile -t found < <(compgen -f -- "$cur") ;;
            '<file:'*)
                part=${part#<file:}
                mapfile -t found < <(compgen -f -X "!*.${part%>}" -- "$cur"; compgen -d -- "$cur")
                ;;
            '<dir>') mapfile -t found < <(compgen -d -- "$cur") ;;
            '<'*) found=() ;;
            *)
                [[ $part == "$cur"* && " ${COMPREPLY[*]} " != *" $part "* ]] && COMPREPLY+=("$part")
                continue
                ;;
        esac
        if ((${#found[@]} > 0)); then
            compopt -o filenames 2> /dev/null
            COMPREPLY+=("${found[@]}")
        fi
    done
}

_@NAME@() {
    local -a forms=(
@FORMS@
    )
    local -a options=(
@OPTIONS@
    )
    local -a given=() typed=()
    local i word row need form name value help next cur awaited=
    COMPREPLY=()
    # bash takes words apart at : and =
    for ((i = 1; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if ((${#given[@]} > 0)) && [[ $word == [:=]* || ${given[${#given[@]} - 1]} == *[:=] ]]; then
            given[${#given[@]} - 1]+=$word
        else
            given+=("$word")
        fi
    done
    cur=${given[${#given[@]} - 1]-}
    for word in "${given[@]:0:${#given[@]} - 1}"; do
        if [[ -n $awaited ]]; then
            awaited=
        elif [[ $word == -* ]]; then
            if [[ $word != *=* ]] && _@NAME@_option "$word"; then
                IFS=';' read -r need form name awaited help <<< "$row"
            fi
        else
            typed+=("$word")
        fi
    done
    if [[ -n $awaited ]]; then
        _@NAME@_offer "$awaited"
    elif [[ $cur == -*=* ]]; then
        if _@NAME@_option "${cur%%=*}"; then
            IFS=';' read -r need form name value help <<< "$row"
            cur=${cur#*=}
            _@NAME@_offer "$value"
        fi
    elif [[ $cur == -* ]]; then
        for row in "${options[@]}"; do
            IFS=';' read -r need form name value help <<< "$row"
            if ((need <= ${#typed[@]})) && _@NAME@_fits "$form"; then
                _@NAME@_offer "$name"
            fi
        done
    else
        for form in "${forms[@]}"; do
            if _@NAME@_fits "$form"; then
                _@NAME@_offer "$next"
            fi
        done
    fi
    # What stands before a : is not part of the word that bash replaces.
    if [[ $cur == *:* && $COMP_WORDBREAKS == *:* ]]; then
        COMPREPLY=("${COMPREPLY[@]#"${cur%"${cur##*:}"}"}")
    fi
}

complete -F _@NAME@ @NAME@
)";

constexpr const char* kZsh = R"(#compdef @NAME@
# Completion of @NAME@ for zsh; made by "@NAME@ completion zsh".

# Whether the words typed so far go with the form $1; $next is then the token of the one that follows.
_@NAME@_fits() {
    local -a form
    local i token
    form=(${=1})
    next=
    for ((i = 1; i <= $#typed + 1; i++)); do
        token=${form[i]-}
        if [[ -z $token && ${form[-1]-} == *... ]]; then
            token=$form[-1]
        fi
        if ((i > $#typed)); then
            next=$token
        elif [[ -n $token && $token != *'<'* && "|${token%...}|" != *"|${typed[i]}|"* ]]; then
            return 1
        fi
    done
    return 0
}

# Takes a row of the options apart.
_@NAME@_row() {
    local rest=$1
    need=${rest%%;*} rest=${rest#*;}
    form=${rest%%;*} rest=${rest#*;}
    name=${rest%%;*} rest=${rest#*;}
    value=${rest%%;*} help=${rest#*;}
}

# The token of the value of the option $1 goes to $value.
_@NAME@_option() {
    local row need form name help next
    for row in $options; do
        _@NAME@_row $row
        if [[ $name == $1 ]] && ((need <= $#typed)) && _@NAME@_fits "$form"; then
            return 0
        fi
    done
    value=
    return 1
}

# Offers what the token $1 stands for; words are collected.
_@NAME@_offer() {
    local part
    for part in ${(s:|:)${1%...}}; do
        case $part in
            '<file>') _files ;;
            '<file:'*) _files -g "*.${${part#<file:}%>}" ;;
            '<dir>') _files -/ ;;
            '<'*) ;;
            *)
                local told=${about[${(j: :)typed}${typed:+ }$part]-}
                if [[ -n $told ]]; then
                    described+=("${part//:/\\:}:$told")
                else
                    plain+=($part)
                fi
                ;;
        esac
    done
}

_@NAME@() {
    local -a forms=(
@FORMS@
    )
    local -a options=(
@OPTIONS@
    )
    local -A about=(
@HELP@
    )
    local -aU plain described
    local -a typed
    local i word row need form name value help next awaited=
    for ((i = 2; i < CURRENT; i++)); do
        word=${(Q)words[i]}
        if [[ -n $awaited ]]; then
            awaited=
        elif [[ $word == -* ]]; then
            if [[ $word != *=* ]] && _@NAME@_option $word; then
                awaited=$value
            fi
        else
            typed+=("$word")
        fi
    done
    if [[ -n $awaited ]]; then
        _@NAME@_offer $awaited
    elif [[ $PREFIX == -*=* ]]; then
        if _@NAME@_option ${PREFIX%%=*}; then
            compset -P '*='
            _@NAME@_offer $value
        fi
    elif [[ $PREFIX == -* ]]; then
        for row in $options; do
            _@NAME@_row $row
            if ((need <= $#typed)) && _@NAME@_fits "$form"; then
                described+=("$name${help:+:$help}")
            fi
        done
    else
        for form in $forms; do
            if _@NAME@_fits $form; then
                _@NAME@_offer $next
            fi
        done
    fi
    (($#described)) && _describe word described
    (($#plain)) && compadd -a plain
}

_@NAME@ "$@"
)";

}  // namespace

std::string BashCompletion(const Program& program) {
    return Filled(kBash, program);
}

std::string ZshCompletion(const Program& program) {
    return Filled(kZsh, program);
}

}  // namespace manual
