#include <gtest/gtest.h>

#include <pugixml.hpp>

#include "base/TempFolder.h"
#include "report/Report.h"

namespace zelline {
namespace {

PlanResult Sample() {
    PlanResult result;
    result.name = "A <plan> & more";
    result.plan = "plan.toml";
    result.started = "2026-01-02T03:04:05Z";
    result.elapsed = Millis(1500);
    result.status = Exit::Failure;
    result.steps.push_back({"one", "version", false, StepState::Passed, Exit::Success, "a\"b,\x01", "fine", 1,
                            Millis(505), "", false});
    result.steps.push_back(
        {"two", "cam", false, StepState::Failed, Exit::Failure, "", "failure", 2, Millis(995), "", false});
    result.steps.push_back({"three", "cam", true, StepState::NotRun, Exit::Success, "", "an earlier step failed",
                            0, Millis(0), "", false});
    return result;
}

std::string Written(const std::string& name) {
    const tests::TempFolder folder;
    Report report(folder.At(name));
    report.Write(Sample());
    EXPECT_FALSE(std::filesystem::exists(folder.At(name + ".part")));
    return folder.Read(name);
}

TEST(Report, Json) {
    const Json report = Json::parse(Written("r.json"));
    EXPECT_EQ(report["v"], 1);
    EXPECT_EQ(report["passed"], 1);
    EXPECT_EQ(report["failed"], 1);
    EXPECT_EQ(report["not_run"], 1);
    EXPECT_EQ(report["exit"], 1);
    EXPECT_EQ(report["steps"][0]["value"], "a\"b,\x01");
    EXPECT_EQ(report["steps"][0]["outcome"], "passed");
    EXPECT_EQ(report["steps"][0]["status"], "success");
    EXPECT_EQ(report["steps"][1]["outcome"], "failed");
    EXPECT_EQ(report["steps"][2]["outcome"], "not run");
    EXPECT_EQ(report["steps"][2]["status"], nullptr);
    EXPECT_EQ(report["steps"][2]["teardown"], true);
}

TEST(Report, JunitThatAParserReads) {
    pugi::xml_document document;
    ASSERT_TRUE(document.load_string(Written("r.xml").c_str()));
    const pugi::xml_node suite = document.child("testsuites").child("testsuite");
    EXPECT_STREQ(suite.attribute("name").value(), "A <plan> & more");
    EXPECT_EQ(suite.attribute("tests").as_int(), 3);
    EXPECT_EQ(suite.attribute("failures").as_int(), 1);
    EXPECT_EQ(suite.attribute("skipped").as_int(), 1);
    const pugi::xml_node first = suite.child("testcase");
    EXPECT_STREQ(first.child("system-out").text().get(), "a\"b,\\x01");
    EXPECT_DOUBLE_EQ(first.attribute("time").as_double(), 0.505);
    EXPECT_STREQ(first.next_sibling().child("failure").attribute("type").value(), "failure");
    EXPECT_TRUE(first.next_sibling().next_sibling().child("skipped"));
}

TEST(Report, AStepThatDidNotRunHasNoSuccess) {
    PlanResult result = Sample();
    result.steps.erase(result.steps.begin(), result.steps.begin() + 2);
    const tests::TempFolder folder;
    for (const char* name : {"r.json", "r.xml", "r.csv", "r.html"}) {
        Report report(folder.At(name));
        report.Write(result);
        EXPECT_EQ(folder.Read(name).find("success"), std::string::npos) << folder.Read(name);
    }
}

TEST(Report, NumbersStayNumbersAndCharactersCharacters) {
    StepResult step;
    step.name = "\u97f3\u91cf";
    step.state = StepState::Passed;
    step.value = "300";
    step.isNumber = true;
    EXPECT_EQ(StepJson(step)["value"], 300);
    EXPECT_NE(JsonLine(StepJson(step)).find("\"\u97f3\u91cf\""), std::string::npos);
    PlanResult result = Sample();
    result.steps = {step};
    const tests::TempFolder folder;
    for (const char* name : {"r.json", "r.xml", "r.csv", "r.html"}) {
        Report report(folder.At(name));
        report.Write(result);
        EXPECT_NE(folder.Read(name).find(step.name), std::string::npos) << folder.Read(name);
    }
}

TEST(Report, CsvKeepsFieldsApart) {
    const std::string text = Written("r.csv");
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 4);
    EXPECT_NE(text.find("\"a\"\"b,\\x01\""), std::string::npos);
}

TEST(Report, HtmlEscapes) {
    const std::string text = Written("r.html");
    EXPECT_NE(text.find("A &lt;plan&gt; &amp; more"), std::string::npos);
    EXPECT_EQ(text.find("<plan>"), std::string::npos);
}

TEST(Report, SaysWhichStepsWentOutTogether) {
    PlanResult result = Sample();
    result.steps[0].burst = 7;
    EXPECT_EQ(StepJson(result.steps[0])["burst"], 7);
    EXPECT_EQ(StepJson(result.steps[1])["burst"], nullptr);
    const tests::TempFolder folder;
    for (const auto& [name, text] :
         {std::pair("r.xml", "<property name=\"burst\" value=\"7\""), std::pair("r.csv", ",505,7\r\n"),
          std::pair("r.html", "<td class=\"n\">7</td>")}) {
        Report report(folder.At(name));
        report.Write(result);
        const std::string written = folder.Read(name);
        EXPECT_NE(written.find(text), std::string::npos) << written;
        EXPECT_EQ(written.find(text), written.rfind(text));
    }
}

Exit StatusOf(const std::string& path) {
    try {
        const Report report(path);
    } catch (const Error& error) {
        return error.Status();
    }
    return Exit::Success;
}

TEST(Report, RefusesWhatCannotBeWrittenBeforehand) {
    const tests::TempFolder folder;
    EXPECT_EQ(StatusOf(folder.At("nowhere/r.json")), Exit::Record);
    EXPECT_EQ(StatusOf(folder.At("r.pdf")), Exit::Unusable);
    std::filesystem::create_directory(folder.At("d.json"));
    EXPECT_EQ(StatusOf(folder.At("d.json")), Exit::Record);
}

TEST(Report, LeavesAnEarlierReportAloneUntilTheNewOneIsWhole) {
    const tests::TempFolder folder;
    folder.Write("r.json", "earlier");
    {
        const Report unwritten(folder.At("r.json"));
        EXPECT_EQ(folder.Read("r.json"), "earlier");
    }
    EXPECT_EQ(folder.Read("r.json"), "earlier");
    EXPECT_FALSE(std::filesystem::exists(folder.At("r.json.part")));
}

}  // namespace
}  // namespace zelline
