// The command line and the transcript's renderings.
#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <sstream>
#include <tuple>

#include "Format.h"
#include "Options.h"
#include "support/ModelTest.h"
#include "support/StrictJson.h"

namespace jorvsimtest {
namespace {

using jorvsim::FailKind;
using jorvsim::parseOptions;

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    return {std::istream_iterator<std::string>(in), std::istream_iterator<std::string>()};
}

TEST(OptionsTest, GoodCommandLines) {
    auto parsed = parseOptions(
            words("--dir /tmp/d --fail-next=2 --fail-with service-specific:7 --fail-op "
                  "request,release --fail-op=init --delay-ms 25 --exit-after 0x10 --omit-values "
                  "--property a.b=x=y --property=e= --history-size 0 --history-off --no-declare "
                  "--die-with-parent"));
    ASSERT_TRUE(parsed.ok()) << parsed.error;
    const auto& o = parsed.options;
    const auto& f = o.faults;
    EXPECT_EQ(
            std::tie(o.dir, f.failNext, f.failKind, f.failCode, f.failOps, f.delayMs, f.exitAfter),
            std::make_tuple("/tmp/d", 2u, FailKind::kServiceSpecific, 7,
                            std::set<std::string>{"request", "release", "init"}, 25u, 16u));
    EXPECT_EQ(o.model.properties, (std::map<std::string, std::string>{{"a.b", "x=y"}, {"e", ""}}));
    EXPECT_EQ(std::tie(f.omitValues, o.model.historyCapacity, o.model.historyEnabled, o.declare,
                       o.dieWithParent),
              std::make_tuple(true, 0u, false, false, true));

    const std::pair<const char*, int32_t> codes[] = {
            {"exception:EX_ILLEGAL_ARGUMENT", EX_ILLEGAL_ARGUMENT},
            {"exception:-7", EX_UNSUPPORTED_OPERATION},
            {"transport:STATUS_DEAD_OBJECT", STATUS_DEAD_OBJECT},
    };
    for (const auto& [text, code] : codes) {
        parsed = parseOptions({"--fail-with", text});
        ASSERT_TRUE(parsed.ok()) << text << ": " << parsed.error;
        EXPECT_EQ(parsed.options.faults.failCode, code) << text;
    }
    EXPECT_TRUE(parseOptions({"--help"}).options.help);
    EXPECT_FALSE(parseOptions({}).options.faults.failCode.has_value());
}

TEST(OptionsTest, BadCommandLinesSayWhatIsWrong) {
    std::vector<std::vector<std::string>> cases = {{"--dir", ""},
                                                   {"--property", "p=" + std::string(256, 'x')}};
    // A failure with exception 0 would not fail at all.
    for (const char* line : {"--fail-next", "--fail-next -1", "--fail-next 4294967296",
                             "--delay-ms 12ms", "--fail-with crash", "--fail-with exception:0",
                             "--fail-with service-specific:EX_SECURITY", "--fail-op request,bogus",
                             "--property =v", "--property novalue", "--omit-values=yes", "extra"}) {
        cases.push_back(words(line));
    }
    for (const auto& args : cases) {
        const auto parsed = parseOptions(args);
        EXPECT_FALSE(parsed.ok()) << args[0];
        EXPECT_FALSE(parsed.error.empty()) << args[0];
    }
}

// Any bytes at all become a JSON string that a strict UTF-8 and JSON reader accepts and that
// gives the same bytes back: nothing dropped, nothing confused with a real character.
TEST(FormatTest, JsonStringsAreStrictUtf8AndLossless) {
    std::vector<std::string> cases;
    for (int byte = 0; byte < 256; ++byte) cases.emplace_back(1, static_cast<char>(byte));
    // Valid, overlong, surrogates and past U+10FFFF, cut short; specials and stray bytes.
    const char* const kMore[] = {
            "\xc3\xa9",     "\xe2\x82\xac",    "\xf0\x9f\x98\x80", "\xf4\x8f\xbf\xbf",
            "\xc0\xaf",     "\xc1\xbf",        "\xe0\x80\xaf",     "\xf0\x80\x80\xaf",
            "\xed\xa0\x80", "\xed\xb3\xbf",    "\xf4\x90\x80\x80", "\xf5\x80\x80\x80",
            "\xc3",         "\xe2\x82",        "\xf0\x9f\x98",     "\xe2\x82\xe2\x82\xac",
            "\xef\xbf\xbd", "\"\\\n\r\t\x7f/", "\x80\xbf\xfe\xff"};
    cases.insert(cases.end(), std::begin(kMore), std::end(kMore));
    cases.emplace_back("a\xe2\x82z");  // cut short between two letters
    std::string lines;
    for (const std::string& text : cases) lines += "{\"s\":" + jorvsim::jsonString(text) + "}\n";
    std::string error;
    const auto objects = readStrictJson(lines, &error);
    ASSERT_TRUE(objects.has_value()) << error;
    ASSERT_EQ(objects->size(), cases.size());
    for (size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(objects->at(i).at("s"), cases[i]) << jorvsim::jsonString(cases[i]);
    }
    // Well-formed text is kept as it is; an invalid byte is a lone low surrogate.
    EXPECT_EQ(jorvsim::jsonString("\xc3\xa9\xff\x01"), "\"\xc3\xa9\\udcff\\u0001\"");
}

TEST(FormatTest, EveryRenderingStaysOnOneLine) {
    EXPECT_EQ(jorvsim::quotedText("a\"b\\c\nd\te\x01\xff"), R"("a\"b\\c\nd\te\x01\xff")");
    EXPECT_EQ(jorvsim::formatId(12), "12");
    EXPECT_EQ(jorvsim::formatId(-1), "-1");
    EXPECT_EQ(jorvsim::formatId(0x40800000), "0x40800000");
    EXPECT_EQ(jorvsim::formatId(-0x10000), "0xffff0000");

    // An absent value and an empty one must look different.
    JorvRequestData record = idRecord(0x1011670);
    record.intValue = 3;
    record.extra = "";
    EXPECT_EQ(jorvsim::formatRecord(record), R"({id=0x01011670 int=3 extra=""})");

    JorvRequestParcel parcel = parcelOf(8, {idRecord(12), idRecord(5, "x")}, -1);
    EXPECT_EQ(jorvsim::formatParcel(parcel),
              R"({type=8(event) data=[{id=12} {id=5 value="x"}] flag=false param0=0 )"
              R"(param1=-1 param3=0 param5=0})");
    parcel.paths = std::vector<std::optional<std::string>>{"zdbdebug", std::nullopt};
    parcel.text1 = "pkg";
    parcel.numbers = std::vector<int32_t>{1};
    EXPECT_NE(jorvsim::formatParcel(parcel).find(
                      R"(paths=["zdbdebug" null] text1="pkg" numbers=[1]})"),
              std::string::npos);

    EXPECT_EQ(jorvsim::formatStatus(::ndk::ScopedAStatus::fromStatus(STATUS_DEAD_OBJECT)),
              "transport STATUS_DEAD_OBJECT(-32)");
    EXPECT_EQ(jorvsim::formatStatus(
                      ::ndk::ScopedAStatus::fromServiceSpecificErrorWithMessage(7, "no\nway")),
              R"(service-specific 7 "no\nway")");
    EXPECT_EQ(jorvsim::formatSeconds(std::chrono::milliseconds(-1500)), "-1.500");
}

}  // namespace
}  // namespace jorvsimtest
