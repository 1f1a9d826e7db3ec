// --describe and --about: what the module registers and says about itself, read from the
// program's output the way a user reads it.
#include "cli/run_program.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

namespace orbhost::testing {
namespace {

struct Described {
    std::map<std::string, std::string> properties;  // property key -> value as printed
    struct Row {
        std::string name;
        std::string diskId;  // empty when the row has none
    };
    std::vector<Row> params;
};

std::string trimmed(const std::string& text)
{
    const auto first = text.find_first_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The property list is "  key  value" lines; the parameter table has a header whose "name" and
// "type" columns bound each row's name, and the disk id is the last field when it is a number.
Described parseDescribe(const std::string& out)
{
    Described d;
    std::istringstream lines(out);
    std::string line, section;
    std::size_t nameAt = 0, typeAt = 0;
    while (std::getline(lines, line)) {
        if (line == "Property list:" || line == "Parameters:") {
            section = line;
        } else if (section == "Property list:" && line.starts_with("  ")) {
            const std::string entry = trimmed(line);
            const auto gap = entry.find(' ');
            d.properties[entry.substr(0, gap)] = trimmed(entry.substr(gap));
        } else if (section == "Parameters:" && line.starts_with("index")) {
            nameAt = line.find("name");
            typeAt = line.find("type");
        } else if (section == "Parameters:" && typeAt > nameAt && line.size() > typeAt) {
            const std::string last = trimmed(line.substr(line.find_last_of(' ', line.find_last_not_of(' '))));
            const bool numeric = !last.empty() && last.find_first_not_of("0123456789") == std::string::npos;
            d.params.push_back({trimmed(line.substr(nameAt, typeAt - nameAt)), numeric ? last : ""});
        }
    }
    return d;
}

class DescribeTest : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        run_ = new ProgramResult(runProgram({"--describe"}));
        described_ = new Described(parseDescribe(run_->out));
    }
    static void TearDownTestSuite()
    {
        delete run_;
        delete described_;
    }
    static inline ProgramResult* run_ = nullptr;
    static inline Described* described_ = nullptr;
};

TEST_F(DescribeTest, PrintsThePropertyList)
{
    ASSERT_EQ(run_->exitCode, 0) << run_->transcript();
    const auto& p = described_->properties;
    EXPECT_EQ(p.at("eMNA"), "\"QUORVANTIS_Orbulon\"") << run_->out;
    EXPECT_EQ(std::stoul(p.at("eGL2"), nullptr, 16), 0x1406u) << run_->out;
    EXPECT_EQ(p.at("8664"), "\"EntryPointFunc\"") << run_->out;
}

TEST_F(DescribeTest, ListsFortyNineParametersWithDiskIds)
{
    ASSERT_EQ(run_->exitCode, 0) << run_->transcript();
    const auto& rows = described_->params;
    ASSERT_EQ(rows.size(), 50u) << "the input layer and 49 parameters\n" << run_->out;
    EXPECT_EQ(rows[0].diskId, "") << "the input layer has no disk id";
    EXPECT_EQ(std::count_if(rows.begin(), rows.end(), [](const auto& r) { return !r.diskId.empty(); }), 49);

    const std::vector<std::pair<int, Described::Row>> expected{
        {3, {"Slide Texture", "43"}},         {14, {"Open Sphere", "13"}},
        {19, {"(end of group)", "13"}},       {33, {"Reflection Intensity", "32"}},
        {34, {"Reflection Rolloff", "32"}},   {49, {"dammy", "42"}},
        {1, {"Texture", "1"}},                {46, {"Fog Color", "57"}}};
    for (const auto& [index, row] : expected) {
        EXPECT_EQ(rows[index].name, row.name) << "row " << index;
        EXPECT_EQ(rows[index].diskId, row.diskId) << "row " << index << " (" << row.name << ")";
    }
}

TEST(CliAbout, PrintsTheAboutText)
{
    const ProgramResult run = runProgram({"--about"});
    EXPECT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_NE(run.out.find("Orbulon, v1.1.5\n"), std::string::npos) << run.transcript();
    EXPECT_NE(run.out.find("Custom lens blur plugin for After Effects."), std::string::npos) << run.transcript();
}

TEST(CliAbout, PosingAsPremiereGivesNoAboutText)
{
    const ProgramResult run = runProgram({"--about", "--app", "premiere"});
    EXPECT_EQ(run.exitCode, 0) << run.transcript();
    EXPECT_EQ(run.out.find("Orbulon"), std::string::npos) << run.transcript();
    EXPECT_EQ(run.out.find("After Effects"), std::string::npos) << run.transcript();
}

}  // namespace
}  // namespace orbhost::testing
