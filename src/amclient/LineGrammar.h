// The grammar of the application manager's command lines: a pure parser, no I/O and no state.
//
//     line       = ":" field [ "," field [ "," field ] ] ":" parameter *( "," parameter )
//     parameter  = name "=" value
//     value      = list | text
//     list       = "[" [ element *( "," element ) ] "]"
//
// The first field and every name hold at least one character; the other fields, texts and elements may be empty.
// A field ends at "," or ":", a name at "=", a text at ",", an element at "," or "]". There is no quoting: these
// characters cannot stand where they end something. A zero byte stands nowhere.
//
// A line with a valid header whose first or second field is exactly "cli" or "dbg" is not for the client: it
// belongs to whatever the application itself reads from its standard input, and is passed on as it is. What
// follows its header is not looked at and may be missing together with the colon, as in ":cli".
#ifndef ZELFAC_AMCLIENT_LINEGRAMMAR_H
#define ZELFAC_AMCLIENT_LINEGRAMMAR_H

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zel {

enum class AmLineResult : std::int8_t {
    Parsed = 0,
    PassThrough = 1,
    NotACommand = -1,
    OutOfMemory = -2,
};

// Views into the parsed line.
struct AmParameter {
    std::string_view name;
    bool isList = false;
    std::string_view text;                   // the value when it is no list
    std::vector<std::string_view> elements;  // the value when it is one
};

struct AmLine {
    AmLineResult result = AmLineResult::NotACommand;
    std::array<std::string_view, 3> header;  // absent fields are empty
    std::vector<AmParameter> parameters;     // filled only when the result is Parsed
};

// Parses one line without its newline: any bytes, any length, linear time. Never throws. The result's views are
// valid as long as the bytes of `line` are.
AmLine ParseAmLine(std::string_view line) noexcept;

// Whether a parsed line is a command for this application and not for a console of the manager's: its first field
// begins with "am" and its second does not begin with "cli".
bool IsForApplication(const AmLine& line);

}  // namespace zel

#endif
