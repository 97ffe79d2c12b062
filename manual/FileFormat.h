// What there is to tell of a kind of file that a program reads: its tables and their keys. The program's reader
// takes no other, and words its mistakes from here.
#ifndef ZELFAC_MANUAL_FILEFORMAT_H
#define ZELFAC_MANUAL_FILEFORMAT_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "manual/Program.h"

namespace manual {

// How a value is written.
struct Form {
    std::string words;                      // as behind "must be"
    std::int64_t least = 0;                 // of a number
    std::int64_t most = 0;                  // of a number
    std::vector<std::string> choices = {};  // the texts that are taken; empty where any is
};

Form TextForm();
// "a whole number from 1 to 9", or with a unit "a whole number of milliseconds from 1 to 9".
Form WholeForm(std::int64_t least, std::int64_t most, std::string_view unit = {});
Form ChoiceForm(std::vector<std::string> choices);

struct Key {
    std::string name;
    Form form;
    std::string help;      // one sentence without its full stop
    std::string standard;  // what holds without it; may be empty
};

struct FileTable {
    // Null when it has no such key.
    const Key* Find(std::string_view name) const;

    // What there is to say of a key that it does not have, and of a value that is not written as its key's form
    // has it. The key of the second must be there.
    std::string Unknown(std::string_view name) const;
    std::string Must(std::string_view name) const;

    std::string title;  // of its part of the page
    std::string where;  // it is, as behind "unknown"
    std::string text;   // may be empty; as Command::more
    std::vector<Key> keys;
};

struct FileFormat {
    std::string name;     // of its page
    std::string program;  // that reads it
    std::string summary;  // one line
    std::string text;     // as Command::more
    std::vector<FileTable> tables;
    std::vector<Section> sections;  // further ones
};

// The format as a page of plain text, and its tables in Markdown.
std::string PlainPage(const FileFormat& format);
std::string MarkdownTables(const FileFormat& format);

}  // namespace manual

#endif
