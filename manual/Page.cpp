#include "manual/Page.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <sstream>

namespace manual {
namespace {

// A character of UTF-8 that begins at `at`, which then stands behind it.
unsigned long CodePoint(const std::string& text, std::size_t& at) {
    const auto first = static_cast<unsigned char>(text[at++]);
    unsigned long code = first < 0x80   ? first
                         : first < 0xE0 ? first & 0x1FU
                         : first < 0xF0 ? first & 0x0FU
                                        : first & 0x07U;
    while (first >= 0xC0 && at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80) {
        code = code << 6U | (static_cast<unsigned char>(text[at++]) & 0x3FU);
    }
    return code;
}

// One line of text, of which nothing is taken for a request.
std::string Literal(const std::string& text) {
    std::string roff = text.empty() || (text[0] != '.' && text[0] != '\'') ? "" : "\\&";
    for (std::size_t at = 0; at < text.size();) {
        const unsigned long code = CodePoint(text, at);
        if (code == '\\') {
            roff += "\\e";
        } else if (code == '-') {
            roff += "\\-";
        } else if (code < 0x80) {
            roff += static_cast<char>(code);
        } else {
            roff += fmt::format("\\[u{:04X}]", code);
        }
    }
    return roff;
}

std::string Bold(const std::string& text) {
    return text.empty() ? "" : fmt::format("\\fB{}\\fR", Literal(text));
}

std::string Italic(const std::string& text) {
    return text.empty() ? "" : fmt::format("\\fI{}\\fR", Literal(text));
}

// The words of a form: what the user writes in italics, what stands for itself in bold.
std::string FormWords(const std::string& form) {
    std::string roff;
    std::istringstream in(form);
    for (std::string word; in >> word;) {
        roff += roff.empty() ? "" : " ";
        std::string part;
        for (const char c : word + '|') {
            if (c != '|') {
                part += c;
                continue;
            }
            const bool isFree = std::any_of(part.begin(), part.end(),
                                            [](unsigned char letter) { return std::isupper(letter) != 0; });
            roff += isFree || part == "..." ? Italic(part) : Bold(part);
            roff += '|';
            part.clear();
        }
        roff.pop_back();
    }
    return roff;
}

// Sentences are filled; lines that begin with two blanks stand as they are.
std::string Text(const std::string& text) {
    std::string roff;
    bool asItIs = false;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        const bool indented = line.substr(0, 2) == "  ";
        if (indented != asItIs) {
            roff += indented ? ".nf\n" : ".fi\n";
            asItIs = indented;
        }
        roff += line.empty() ? ".sp\n" : Literal(line) + '\n';
    }
    return roff + (asItIs ? ".fi\n" : "");
}

std::string OptionHead(const Option& option) {
    std::string head;
    std::istringstream names(option.name);
    for (std::string name; std::getline(names, name, ',');) {
        head += (head.empty() ? "" : ", ") + Bold(name);
    }
    return head + (option.value.empty() ? "" : " " + Italic(option.value));
}

std::string OptionList(const std::vector<Option>& options) {
    std::string roff;
    for (const Option& option : options) {
        const std::string more = option.repeats ? "; may stand several times" : "";
        roff +=
            fmt::format(".TP\n{}\n{}", OptionHead(option), option.help.empty() ? "" : Text(option.help + more));
    }
    return roff;
}

std::string CommandEntry(const Command& command) {
    std::string roff;
    std::string optional;
    const bool told = std::any_of(command.options.begin(), command.options.end(),
                                  [](const Option& option) { return !option.help.empty(); });
    for (const Option& option : command.options) {
        optional += fmt::format(" [{}]{}", OptionHead(option), option.repeats ? "..." : "");
    }
    for (std::size_t i = 0; i < std::max<std::size_t>(command.forms.size(), 1); ++i) {
        const std::string form = command.forms.empty() ? "" : command.forms[i];
        roff += fmt::format(".{}\n{}{}{}{}\n", i == 0 ? "TP" : "TQ", Bold(command.name), form.empty() ? "" : " ",
                            FormWords(form), optional);
    }
    if (!command.help.empty()) {
        roff += Text(command.help + (command.help.back() == '?' ? "" : "."));
    }
    roff += command.more.empty() ? "" : ".IP\n" + Text(command.more);
    return roff + (told ? ".RS\n" + OptionList(command.options) + ".RE\n" : "");
}

std::string Heading(std::string title) {
    std::transform(title.begin(), title.end(), title.begin(), [](unsigned char c) { return std::toupper(c); });
    return fmt::format(".SH {}\n", Literal(title));
}

std::string Head(std::string name, int section, const std::string& program, const std::string& version,
                 const std::string& summary) {
    const std::string told = fmt::format(".SH NAME\n{} \\- {}\n", Literal(name), Literal(summary));
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::toupper(c); });
    return fmt::format(".TH {} {} \"\" \"{} {}\"\n{}", Literal(name), section, program, version, told);
}

std::string Sections(const std::vector<Section>& sections) {
    std::string roff;
    for (const Section& section : sections) {
        roff += Heading(section.title) + Text(section.text);
    }
    return roff;
}

}  // namespace

std::string ManPage(const Program& program) {
    std::string page = Head(program.name, 1, program.name, program.version, program.summary) + ".SH SYNOPSIS\n";
    for (std::size_t i = 0; i < program.synopsis.size(); ++i) {
        page +=
            fmt::format("{}{} {}\n", i == 0 ? "" : ".br\n", Bold(program.name), FormWords(program.synopsis[i]));
    }
    for (const Group& group : program.groups) {
        page += Heading(group.title) + OptionList(group.options);
        for (const Command& command : group.commands) {
            page += CommandEntry(command);
        }
    }
    return page + Heading("Options") + OptionList(program.options) + Sections(program.sections);
}

std::string ManPage(const FileFormat& format, const std::string& version) {
    std::string page = Head(format.name, 5, format.program, version, format.summary);
    page += Heading("Description") + Text(format.text);
    for (const FileTable& table : format.tables) {
        page += fmt::format(".SH {}\n{}", Literal(table.title), Text(table.text));
        for (const Key& key : table.keys) {
            page += fmt::format(".TP\n{}, {}\n{}", Bold(key.name), Literal(key.form.words), Text(key.help + "."));
            page += key.standard.empty() ? "" : Text("Without it: " + key.standard + ".");
        }
    }
    page += Sections(format.sections);
    return page + fmt::format(".SH SEE ALSO\n.BR {} (1)\n", format.program);
}

}  // namespace manual
