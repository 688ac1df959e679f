// Holds the documents against the tables that the code uses: a failure, a setting or an answer that
// a document lacks, or has too much, fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <json11.hpp>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "gsdk/gsdk_api.h"
#include "protocol/error_codes.h"
#include "protocol/recorder_settings.h"
#include "recording/clip_dump.h"

namespace core_test {
namespace {

using namespace capture_service;
using json11::Json;
using ::testing::ElementsAreArray;
using ::testing::UnorderedElementsAreArray;
using Cells = std::vector<std::string>;

std::string ReadDocument(const std::string& name) {
  std::ifstream file(std::string(DOCUMENTS_FOLDER "/") + name, std::ios::binary);
  EXPECT_TRUE(file.is_open()) << name;
  return {std::istreambuf_iterator<char>(file), {}};
}

// What stands under the heading that begins with `heading`, down to the next heading.
std::string Section(const std::string& page, const std::string& heading) {
  const std::size_t begin = page.find("\n" + heading);
  EXPECT_NE(begin, std::string::npos) << heading;
  if (begin == std::string::npos) return {};
  const std::size_t end = page.find("\n#", begin + 1);
  return page.substr(begin + 1, end - begin - 1);
}

std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

// The rows of the tables in a piece of Markdown whose header's first cell is `first_header`.
std::vector<Cells> TableRows(const std::string& markdown, const std::string& first_header) {
  std::vector<Cells> rows;
  bool wanted = false;
  bool in_table = false;
  std::istringstream lines(markdown);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("|")) {
      in_table = false;
      continue;
    }
    Cells cells;
    std::istringstream columns(line.substr(1));
    for (std::string cell; std::getline(columns, cell, '|');) cells.push_back(Trimmed(cell));
    if (!in_table) {
      in_table = true;
      wanted = cells.front() == first_header;
    } else if (wanted && !cells.front().starts_with("---")) {
      rows.push_back(cells);
    }
  }
  return rows;
}

// What matches the expression's first group, one by one.
std::vector<std::string> AllMatches(const std::string& text, const char* expression) {
  const std::regex regex(expression);
  std::vector<std::string> matches;
  for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match) {
    matches.push_back((*match)[1].str());
  }
  return matches;
}

std::vector<std::string> Quoted(const std::string& cell) { return AllMatches(cell, "`([^`]+)`"); }

// "number", "flag" or "text".
std::string TypeName(const RecorderSetting& setting) {
  static constexpr const char* kNames[] = {"number", "flag", "text"};
  return kNames[setting.member.index()];
}

TEST(ProtocolPage, ListsEveryFailureByNumberAndNameAndNoOther) {
  const std::string section = Section(ReadDocument("protocol.md"), "## Exit statuses");
  std::vector<std::string> listed;
  for (const Cells& row : TableRows(section, "Status")) {
    ASSERT_EQ(row.size(), 3U) << row.front();
    EXPECT_NE(row[2], "") << row.front();
    if (!row[1].empty()) listed.push_back(row[0] + " " + row[1]);
  }
  std::vector<std::string> expected;
  for (const ErrorCodeEntry& entry : ErrorCodeTable) {
    expected.push_back(std::to_string(ErrorNumber(entry.code)) + " `" + std::string(entry.name) +
                       "`");
  }
  EXPECT_THAT(listed, ElementsAreArray(expected));
}

TEST(ProtocolPage, ListsEverySettingWithItsTypeAndWhetherItIsNeeded) {
  const std::string section = Section(ReadDocument("protocol.md"), "### `recorder_settings`");
  std::vector<std::string> listed;
  for (const Cells& row : TableRows(section, "Member")) {
    ASSERT_EQ(row.size(), 4U) << row.front();
    for (const std::string& key : Quoted(row[0])) {
      listed.push_back(key + " " + row[1] + (row[2] == "yes" ? " needed" : ""));
    }
  }
  std::vector<std::string> expected;
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    expected.push_back(std::string(setting.key) + " " + TypeName(setting) +
                       (setting.needed ? " needed" : ""));
  }
  EXPECT_THAT(listed, UnorderedElementsAreArray(expected));
}

TEST(ProtocolPage, ExampleOfSettingsHasAllOfThem) {
  const std::string section = Section(ReadDocument("protocol.md"), "### `recorder_settings`");
  const std::vector<std::string> examples =
      AllMatches(section, "(\\{\"recorder_settings\": [^\\n]*)");
  ASSERT_EQ(examples.size(), 1U);
  std::string error;
  const Json settings = Json::parse(examples.front(), error)["recorder_settings"];
  ASSERT_EQ(error, "");
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    const Json& value = settings[setting.key];
    const std::string type = TypeName(setting);
    EXPECT_TRUE(type == "number" ? value.is_number()
                                 : (type == "flag" ? value.is_bool() : value.is_string()))
        << setting.key;
  }
  EXPECT_EQ(settings.object_items().size(), RecorderSettingsTable.size());
}

// What the host is told for every dump that fails.
std::vector<std::string> DumpErrorTexts() {
  std::vector<std::string> texts;
  for (const std::int32_t status :
       {kGsdkDumpEmpty, kGsdkDumpCannotOpen, kGsdkDumpBadAudioStream, kGsdkDumpBadVideoStream,
        kGsdkDumpCannotWrite, kGsdkDumpCannotRename}) {
    texts.push_back(DumpErrorText(status, "PATH"));
  }
  texts.push_back(DumpErrorText(1, "PATH"));
  return texts;
}

TEST(ProtocolPage, ListsTheErrorOfEveryFailedDump) {
  const std::string page = ReadDocument("protocol.md");
  const std::string section = Section(page.substr(page.find("## From the service")), "### `clip`");
  std::vector<std::string> listed;
  for (const Cells& row : TableRows(section, "`error`")) {
    listed.push_back(row.front().substr(1, row.front().size() - 2));
  }
  std::vector<std::string> expected = DumpErrorTexts();
  expected.emplace_back("recorder not initialized");
  EXPECT_THAT(listed, UnorderedElementsAreArray(expected));
}

TEST(TroubleshootingPage, SaysWhatToDoAboutEveryFailure) {
  const std::string section =
      Section(ReadDocument("troubleshooting.md"), "## The service ends later");
  std::set<std::string> treated;
  for (const Cells& row : TableRows(section, "Exit status")) {
    ASSERT_EQ(row.size(), 3U) << row.front();
    EXPECT_NE(row[1], "") << row.front();
    EXPECT_NE(row[2], "") << row.front();
    for (const std::string& number : AllMatches(row[0], "([0-9a-zA-Z]+)")) treated.insert(number);
  }
  for (const ErrorCodeEntry& entry : ErrorCodeTable) {
    EXPECT_TRUE(treated.contains(std::to_string(ErrorNumber(entry.code)))) << entry.name;
  }
}

class Schema : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    definitions_ = Json::parse(ReadDocument("host-messages.schema.json"), error)["$defs"];
    ASSERT_EQ(error, "");
  }

  // "number", "flag" or "text" for what a member's definition allows; empty for anything else.
  std::string TypeOf(const Json& member) const {
    const std::string reference = member["$ref"].string_value();
    const std::string start = "#/$defs/";
    const Json& definition =
        reference.starts_with(start) ? definitions_[reference.substr(start.size())] : member;
    const std::map<std::string, std::string> names = {
        {"integer", "number"}, {"boolean", "flag"}, {"string", "text"}};
    const auto name = names.find(definition["type"].string_value());
    return name == names.end() ? "" : name->second;
  }

  Json definitions_;
};

TEST_F(Schema, HasEverySettingWithItsTypeAndNoOther) {
  std::vector<std::string> listed;
  for (const auto& [key, member] : definitions_["recorder_settings"]["properties"].object_items()) {
    listed.push_back(key + " " + TypeOf(member));
  }
  std::vector<std::string> expected;
  for (const RecorderSetting& setting : RecorderSettingsTable) {
    expected.push_back(std::string(setting.key) + " " + TypeName(setting));
  }
  EXPECT_THAT(listed, UnorderedElementsAreArray(expected));
}

TEST_F(Schema, AllowsTheErrorOfEveryFailedDump) {
  std::vector<std::regex> allowed;
  std::set<std::string> texts;
  for (const Json& choice :
       definitions_["clip_failure"]["properties"]["error"]["anyOf"].array_items()) {
    for (const Json& text : choice["enum"].array_items()) texts.insert(text.string_value());
    if (choice["pattern"].is_string()) allowed.emplace_back(choice["pattern"].string_value());
  }
  for (const std::string& text : DumpErrorTexts()) {
    const bool matches = std::ranges::any_of(
        allowed, [&](const std::regex& regex) { return std::regex_search(text, regex); });
    EXPECT_TRUE(matches || texts.contains(text)) << text;
  }
}

}  // namespace
}  // namespace core_test
