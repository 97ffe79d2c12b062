#include <gmock/gmock.h>

#include "simset/stick/Contents.h"

namespace simset::stick {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

TEST(RangeFileOfAStick, CountsTheAddressesThatAreLeft) {
    const RangeFile file = ReadRangeFile("00-11-22-33-44-FE--00-11-22-33-44-FF\r\n");
    EXPECT_THAT(file.problems, IsEmpty());
    EXPECT_EQ(file.next, "00-11-22-33-44-FE");
    EXPECT_EQ(file.left, 2U);
    EXPECT_FALSE(file.moreLines);
    EXPECT_EQ(ReadRangeFile("00:aa:22:FF:FF:FF--00:AA:23:00:00:10").left, 0x12U);
    EXPECT_EQ(ReadRangeFile("00-11-22-33-44-55--00-11-22-33-44-55\n\n").left, 1U);
    EXPECT_TRUE(ReadRangeFile("00-11-22-33-44-55--00-11-22-33-44-55\nmore\n").moreLines);
}

TEST(RangeFileOfAStick, SaysWhatIsWrong) {
    const auto problem = [](const char* line) {
        const RangeFile file = ReadRangeFile(line);
        return file.problems.empty() ? std::string() : file.problems.front();
    };
    EXPECT_THAT(problem(""), HasSubstr("0 characters"));
    EXPECT_THAT(problem("\r\n00-11-22-33-44-FE--00-11-22-33-44-FF\r\n"), HasSubstr("0 characters"));
    EXPECT_THAT(problem("00-11-22-33-44-FE--00-11-22-33-44-F\r\n"), HasSubstr("35 characters"));
    EXPECT_THAT(problem("00-11-22-33-44-FE -00-11-22-33-44-FF"), HasSubstr("two dashes"));
    EXPECT_THAT(problem("00-11-22-33-44-FE-- 00-11-22-33-44-FF"), HasSubstr("no address"));
    EXPECT_THAT(problem("00-11-22-33-44-FG--00-11-22-33-44-FF"), HasSubstr("00-11-22-33-44-FG"));
    EXPECT_THAT(problem("00-11-22-33-44-FE--00-11-22-33-44-FFx"), HasSubstr("nothing may follow"));
    EXPECT_THAT(problem("00-11-22-33-44-FF--00-11-22-33-44-FE"), HasSubstr("behind the last"));
    EXPECT_THAT(problem("01-11-22-33-44-FE--01-11-22-33-44-FF"), HasSubstr("group"));
    EXPECT_TRUE(ReadRangeFile("01-11-22-33-44-FE--01-11-22-33-44-FF").taken) << "a set does not mind";
    EXPECT_FALSE(ReadRangeFile("00-11-22-33-44-FE--00-11-22-33-44-FFx").taken);
}

// What is odd is a problem, and what comes of it is what the set makes of the same line.
TEST(RangeFileOfAStick, ForetellsWhatASetTakes) {
    for (const char* const line :
         {"00:11:22:33:44:FE--00.11 22_33/44:FF", "00-11-22-33-44-FE-- 00-11-22-33-44-FF\r\n",
          "00-11-22-33-44-FE--001122-33-44-FF\r\n", "00-11-22-33-44-FE ; --00-11-22-33-44-FF"}) {
        const RangeFile file = ReadRangeFile(line);
        EXPECT_TRUE(file.taken) << line;
        EXPECT_EQ(file.left, 2U) << line;
    }
    for (const char* const line :
         {"\357\273\27700-11-22-33-44-FE--00-11-22-33-44-FF\r\n", " 00-11-22-33-44-FE--00-11-22-33-44-FF\r\n",
          "------------------00-11-22-33-44-FF\r\n", "00-11-22-33-44-GE--00-11-22-33-44-FF\r\n",
          "00-11-22-33-44-0E--00-11-22-33-44-0G\r\n", "0011-2233-44FE-----00-11-22-33-44-FF\r\n",
          "00-11-22-33-44-F --00-11-22-33-44-FF\r\n", "00-11-22-33-44-FE--00-11-22-33-44-F \r\n",
          "00-11-22-33-44-FE--001122-33-44-FF\n"}) {
        const RangeFile file = ReadRangeFile(line);
        EXPECT_FALSE(file.taken) << line;
        EXPECT_THAT(file.problems, SizeIs(1)) << line;
    }
}

TEST(ConfigurationOfAStick, IsSevenLines) {
    const ConfigurationFile full = ReadConfigurationFile("1\r\n2\r\n3\r\nACME\r\n4\r\n5\r\nModel 7\r\n");
    EXPECT_THAT(full.problems, IsEmpty());
    EXPECT_THAT(full.notes, IsEmpty());
    const ConfigurationFile exported = ReadConfigurationFile("1\r\n2\r\n3\r\nACME\r\n4\r\n5");
    EXPECT_THAT(exported.problems, IsEmpty());
    EXPECT_THAT(exported.notes, ElementsAre(HasSubstr("customer model")));
    EXPECT_THAT(ReadConfigurationFile("1\n2\n3\nA\n4\n5\nM\n8\n").notes, ElementsAre(HasSubstr("first 7 lines")));
}

TEST(ConfigurationOfAStick, SaysWhatIsWrong) {
    EXPECT_THAT(ReadConfigurationFile("1\n2\n3\n").problems, SizeIs(3));
    EXPECT_THAT(ReadConfigurationFile(" 1\n2\n3\nA\n4\n5\nM").problems,
                ElementsAre(HasSubstr("line 1 (country)")));
    EXPECT_TRUE(ReadConfigurationFile("GB\n2\n3\nA\n4\n5\nM").taken) << "a set reads a number";
    EXPECT_FALSE(ReadConfigurationFile("1\n2\n3\nA\n4\n\nM").taken);
    EXPECT_THAT(ReadConfigurationFile("GB\n2\n3\nA\n4\n5\nM").problems, ElementsAre(HasSubstr("reads 0")));
    EXPECT_THAT(ReadConfigurationFile("1\n2 x\n3\nA\n4\n5\nM").problems, ElementsAre(HasSubstr("reads 2")));
    EXPECT_THAT(ReadConfigurationFile("1\n2\n3\nA\n4\n99999999999\nM").problems, ElementsAre(HasSubstr("large")));
    EXPECT_THAT(ReadConfigurationFile("1\n2\n3\n" + std::string(128, 'A') + "\n4\n5\nM").problems, SizeIs(1));
    EXPECT_TRUE(ReadConfigurationFile("1\n2\n3\n" + std::string(200, 'A') + "\n4\n5\nM").taken)
        << "a set compares what it reads back";
    EXPECT_THAT(ReadConfigurationFile("1\n2\n3\nA\n4\n5\n" + std::string(254, 'M')).problems, SizeIs(1));
    EXPECT_THAT(ReadConfigurationFile("\xEF\xBB\xBF"
                                      "1\n2\n3\nA\n4\n5\nM")
                    .problems,
                SizeIs(2));
}

}  // namespace
}  // namespace simset::stick
