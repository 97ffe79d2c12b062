#include <gtest/gtest.h>

#include <map>
#include <random>
#include <string>
#include <vector>

#include "amclient/LineGrammar.h"

using zel::AmLine;
using zel::AmLineResult;
using zel::ParseAmLine;

namespace {

using Texts = std::vector<std::string_view>;

TEST(LineGrammar, OneParameter) {
    const AmLine line = ParseAmLine(":am,app,7:pause=now");
    EXPECT_EQ(line.result, AmLineResult::Parsed);
    EXPECT_EQ(line.header, (std::array<std::string_view, 3>{"am", "app", "7"}));
    ASSERT_EQ(line.parameters.size(), 1U);
    EXPECT_EQ(line.parameters[0].name, "pause");
    EXPECT_FALSE(line.parameters[0].isList);
    EXPECT_EQ(line.parameters[0].text, "now");
}

TEST(LineGrammar, SecondAndThirdFieldMayBeAbsent) {
    EXPECT_EQ(ParseAmLine(":am:a=1").header, (std::array<std::string_view, 3>{"am", "", ""}));
    EXPECT_EQ(ParseAmLine(":am,x:a=1").header, (std::array<std::string_view, 3>{"am", "x", ""}));
    EXPECT_EQ(ParseAmLine(":am,,9:a=1").header, (std::array<std::string_view, 3>{"am", "", "9"}));
}

TEST(LineGrammar, ManyParametersWithListsAmongThem) {
    const AmLine line = ParseAmLine(":am:a=1,b=[x,,y=z:w],c=,d=[],e=p=q:r");
    ASSERT_EQ(line.result, AmLineResult::Parsed);
    ASSERT_EQ(line.parameters.size(), 5U);
    EXPECT_EQ(line.parameters[0].text, "1");
    EXPECT_TRUE(line.parameters[1].isList);
    EXPECT_EQ(line.parameters[1].elements, (Texts{"x", "", "y=z:w"}));
    EXPECT_EQ(line.parameters[2].name, "c");
    EXPECT_EQ(line.parameters[2].text, "");
    EXPECT_TRUE(line.parameters[3].isList);
    EXPECT_TRUE(line.parameters[3].elements.empty());
    EXPECT_EQ(line.parameters[4].text, "p=q:r");
}

TEST(LineGrammar, ABracketInsideATextIsText) {
    const AmLine line = ParseAmLine(":am:a=x[1],b=]");
    ASSERT_EQ(line.parameters.size(), 2U);
    EXPECT_EQ(line.parameters[0].text, "x[1]");
    EXPECT_EQ(line.parameters[1].text, "]");
}

TEST(LineGrammar, WhatIsNoCommandLine) {
    using namespace std::string_view_literals;
    for (const std::string_view text : {""sv,
                                        "am:a=1"sv,
                                        " :am:a=1"sv,
                                        ":"sv,
                                        "::a=1"sv,
                                        ":,x:a=1"sv,
                                        ":am"sv,
                                        ":am,x,y"sv,
                                        ":a,b,c,d:a=1"sv,
                                        ":a,b,c,:a=1"sv,
                                        ":am:"sv,
                                        ":am:a"sv,
                                        ":am:=1"sv,
                                        ":am:a=1,"sv,
                                        ":am:a=1,b"sv,
                                        ":am:a,b=1"sv,
                                        ":am:a=[1,2"sv,
                                        ":am:a=[1]2"sv,
                                        ":am:a=[1]xb=1"sv,
                                        ":am:a=[1],"sv,
                                        ":am:a=[1]]"sv,
                                        ":am:a=1\0"sv,
                                        "\0:am:a=1"sv}) {
        const AmLine line = ParseAmLine(text);
        EXPECT_EQ(line.result, AmLineResult::NotACommand) << text;
        EXPECT_TRUE(line.parameters.empty()) << text;
    }
}

TEST(LineGrammar, ConsoleLinesPassThroughWhateverTheySay) {
    for (const std::string_view text : {":cli:ls -l", ":dbg:", ":am,cli:x", ":am,dbg,1:a=1", ":cli,a,b:=[,",
                                        ":cli", ":dbg", ":am,cli", ":x,dbg,y", ":cli:"}) {
        EXPECT_EQ(ParseAmLine(text).result, AmLineResult::PassThrough) << text;
    }
}

TEST(LineGrammar, ConsoleFieldsAreWholeAndInFrontOnly) {
    EXPECT_EQ(ParseAmLine(":am,client:a=1").result, AmLineResult::Parsed);
    EXPECT_EQ(ParseAmLine(":clip:a=1").result, AmLineResult::Parsed);
    EXPECT_EQ(ParseAmLine(":am,x,cli:a=1").result, AmLineResult::Parsed);
    EXPECT_EQ(ParseAmLine(":clip").result, AmLineResult::NotACommand);
    EXPECT_EQ(ParseAmLine(":am,x,cli").result, AmLineResult::NotACommand);
    EXPECT_EQ(ParseAmLine("cli").result, AmLineResult::NotACommand);
    EXPECT_EQ(ParseAmLine(":,cli:x").result, AmLineResult::NotACommand);
    EXPECT_EQ(ParseAmLine(":cli,a,b,c").result, AmLineResult::NotACommand);
    EXPECT_EQ(ParseAmLine(":cli,a,b,c:x").result, AmLineResult::NotACommand);
}

TEST(LineGrammar, TheApplicationTakesWhatIsAmsAndNoConsoles) {
    EXPECT_TRUE(zel::IsForApplication(ParseAmLine(":am:a=1")));
    EXPECT_TRUE(zel::IsForApplication(ParseAmLine(":am,x,1:a=1")));
    EXPECT_TRUE(zel::IsForApplication(ParseAmLine(":am2,x:a=1")));
    EXPECT_FALSE(zel::IsForApplication(ParseAmLine(":a:a=1")));
    EXPECT_FALSE(zel::IsForApplication(ParseAmLine(":tv,am:a=1")));
    EXPECT_FALSE(zel::IsForApplication(ParseAmLine(":am,client:a=1")));
    EXPECT_FALSE(zel::IsForApplication(ParseAmLine(":am,cli:a=1")));
    EXPECT_FALSE(zel::IsForApplication(ParseAmLine(":am:a")));
}

TEST(LineGrammar, LongLines) {
    const std::string value(100000, 'v');
    const std::string longText = ":am:a=" + value;
    ASSERT_EQ(ParseAmLine(longText).result, AmLineResult::Parsed);
    EXPECT_EQ(ParseAmLine(longText).parameters[0].text, value);

    std::string manyElements = ":am:a=[";
    for (int i = 0; i < 100000; ++i) {
        manyElements += ",";
    }
    const AmLine line = ParseAmLine(manyElements + "]");
    ASSERT_EQ(line.result, AmLineResult::Parsed);
    EXPECT_EQ(line.parameters[0].elements.size(), 100001U);
    EXPECT_EQ(ParseAmLine(manyElements).result, AmLineResult::NotACommand);
}

TEST(LineGrammar, EverySingleByteChangedGivesAResult) {
    const std::string good = ":am,app,1:a=[x,y],b=2";
    for (std::size_t place = 0; place < good.size(); ++place) {
        for (int byte = 0; byte < 256; ++byte) {
            std::string text = good;
            text[place] = static_cast<char>(byte);
            const AmLine line = ParseAmLine(text);
            EXPECT_EQ(line.result == AmLineResult::Parsed, !line.parameters.empty()) << place << " " << byte;
        }
    }
}

TEST(LineGrammar, EveryBeginningOfAGoodLineIsNoCommandUntilItsFirstValue) {
    const std::string good = ":am,app,1:a=[x,y],b=2";
    for (std::size_t length = 0; length < good.size(); ++length) {
        const AmLineResult result = ParseAmLine(std::string_view(good).substr(0, length)).result;
        const bool whole = length == good.find(",b") || length + 1 == good.size() ||
                           length == good.find("[x");  // "a=", without a value
        EXPECT_EQ(result, whole ? AmLineResult::Parsed : AmLineResult::NotACommand) << length;
    }
}

// The line again, from the parts that were cut out of it.
std::string PutTogether(std::string_view text, const AmLine& line) {
    std::string again(text.substr(0, text.find(':', 1) + 1));
    const char* separator = "";
    for (const zel::AmParameter& parameter : line.parameters) {
        again += separator + std::string(parameter.name) + "=";
        if (parameter.isList) {
            again += "[";
            for (std::size_t i = 0; i < parameter.elements.size(); ++i) {
                again += (i == 0 ? "" : ",") + std::string(parameter.elements[i]);
            }
            again += "]";
        } else {
            again += parameter.text;
        }
        separator = ",";
    }
    return again;
}

TEST(LineGrammar, NoiseIsReadAsWhatItSays) {
    const unsigned seed = 20250;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::vector<std::string> parts = {
        ":", ":", ",", ",", "=", "=", "[", "]", "am", "cli", "dbg", "x", std::string(1, '\0')};
    std::map<AmLineResult, int> seen;
    for (int i = 0; i < 50000; ++i) {
        std::string text = random() % 8 == 0 ? "" : ":";
        for (std::size_t count = random() % 12; count > 0; --count) {
            text +=
                random() % 16 == 0 ? std::string(1, static_cast<char>(random())) : parts[random() % parts.size()];
        }
        const AmLine line = ParseAmLine(text);
        ++seen[line.result];
        if (text[0] != ':' || text.find('\0') != std::string::npos) {
            EXPECT_EQ(line.result, AmLineResult::NotACommand) << text;
        }
        if (line.result == AmLineResult::Parsed) {
            EXPECT_EQ(PutTogether(text, line), text);
            EXPECT_FALSE(line.header[0].empty()) << text;
        } else {
            EXPECT_TRUE(line.parameters.empty()) << text;
        }
        const bool console = line.header[0] == "cli" || line.header[0] == "dbg" || line.header[1] == "cli" ||
                             line.header[1] == "dbg";
        EXPECT_EQ(line.result == AmLineResult::PassThrough, console && line.result != AmLineResult::NotACommand)
            << text;
    }
    EXPECT_GT(seen[AmLineResult::Parsed], 100);
    EXPECT_GT(seen[AmLineResult::PassThrough], 100);
    EXPECT_GT(seen[AmLineResult::NotACommand], 100);
}

}  // namespace
