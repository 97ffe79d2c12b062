#include <gmock/gmock.h>

#include "manual/FileSection.h"
#include "manual/Page.h"

namespace manual {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

FileFormat Recipe() {
    return {"tool-recipe",
            "tool",
            "a recipe",
            "One text.",
            {{"In the recipe",
              "in a recipe",
              "",
              {{"title", {"a text that is not empty", 1}, "What it is called", "the file's name"},
               {"heat", WholeForm(1, 250, "degrees"), "How hot", ""},
               {"kind", ChoiceForm({"soup", "stew", "pie"}), "Of what kind", ""},
               {"salt", {"a number"}, "How much", ""},
               {"oven", {"written as [oven]"}, "The oven", ""},
               {"step", {"written as [[step]]"}, "A step", ""}}}},
            {}};
}

// What is wrong in a recipe, as "line: words", when everything in it is read.
std::vector<std::string> MistakesInRecipe(const FileFormat& format, const std::string& text) {
    std::vector<std::string> mistakes;
    const toml::table table = toml::parse(text);
    const FileSection section(table, format.tables[0], [&](std::size_t line, const std::string& words) {
        mistakes.push_back(std::to_string(line) + ": " + words);
    });
    section.TellOfUnknown();
    section.Text("title");
    section.Whole("heat");
    section.Choice("kind");
    section.Number("salt");
    section.Table("oven");
    section.Tables("step");
    return mistakes;
}

TEST(FileFormat, MistakesAreToldFromTheTable) {
    EXPECT_THAT(MistakesInRecipe(
                    Recipe(), "title = 'x'\nheat = 250\nkind = 'pie'\nsalt = 1.5\n[oven]\n[[step]]\n[[step]]\n"),
                ElementsAre());
    EXPECT_THAT(
        MistakesInRecipe(Recipe(), "title = ''\nheat = 251\nkind = 'tart'\nsalt = []\noven = 1\nstep = {}\n"),
        ElementsAre("1: 'title' must be a text that is not empty",
                    "2: 'heat' must be a whole number of degrees from 1 to 250",
                    "3: 'kind' must be \"soup\", \"stew\" or \"pie\"", "4: 'salt' must be a number",
                    "5: 'oven' must be written as [oven]", "6: 'step' must be written as [[step]]"));
    EXPECT_THAT(MistakesInRecipe(Recipe(), "\npepper = 1\n"),
                ElementsAre("2: 'pepper' is unknown in a recipe; there are title, heat, kind, salt, oven, step"));
}

TEST(FileFormat, WhatTheTableDoesNotHaveIsNotRead) {
    FileFormat format = Recipe();
    format.tables[0].keys.erase(format.tables[0].keys.begin());
    const toml::table table = toml::parse("title = 'x'\n");
    EXPECT_EQ(FileSection(table, Recipe().tables[0], {}).Text("title"), "x");
    EXPECT_EQ(FileSection(table, format.tables[0], {}).Text("title"), std::nullopt);
    EXPECT_THAT(MistakesInRecipe(format, "title = 'x'\n"), ElementsAre(HasSubstr("1: 'title' is unknown")));
}

TEST(FileFormat, PagesTellEachKey) {
    EXPECT_THAT(
        ManPage(Recipe(), "1.0"),
        testing::AllOf(HasSubstr(".TH TOOL\\-RECIPE 5 \"\" \"tool 1.0\"\n.SH NAME\ntool\\-recipe \\- a recipe\n"),
                       HasSubstr(".SH In the recipe\n.TP\n\\fBtitle\\fR, a text that is not empty\nWhat it is "
                                 "called.\nWithout it: the file's name.\n"),
                       HasSubstr(".SH SEE ALSO\n.BR tool (1)\n")));
    EXPECT_THAT(PlainPage(Recipe()),
                HasSubstr("  heat         a whole number of degrees from 1 to 250\n               How hot.\n"));
    EXPECT_THAT(MarkdownTables(Recipe()), HasSubstr("| `step` | written as \\[[step]] | A step |  |\n"));
}

}  // namespace
}  // namespace manual
