// The 608 decoder as a host sees it: line-21 byte pairs with their parity
// bits go in through VQSoftCCDecode; callbacks and window snapshots come out.
#include "context_fixture.h"

#include <dirent.h>

#include <fstream>
#include <initializer_list>
#include <random>
#include <sstream>
#include <string>

using fake_platform::Report;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// Sets bit 7 where needed so that the byte has odd parity, as on line 21.
uint8_t odd(uint8_t b)
{
    return __builtin_parity(b) ? b : static_cast<uint8_t>(b | 0x80);
}

// 7-bit pair values to a transmitted stream.
std::vector<uint8_t> cc(std::initializer_list<uint8_t> bytes)
{
    std::vector<uint8_t> out;
    for (uint8_t b : bytes)
        out.push_back(odd(b));
    return out;
}

// Basic characters, padded with 0x00 to whole pairs.
std::vector<uint8_t> chars(const std::string &text)
{
    std::vector<uint8_t> out;
    for (char c : text)
        out.push_back(odd(static_cast<uint8_t>(c)));
    if (out.size() % 2 != 0)
        out.push_back(odd(0));
    return out;
}

std::vector<uint8_t> operator+(std::vector<uint8_t> a, const std::vector<uint8_t> &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const std::vector<uint8_t> kResumeCaptionLoading = cc({0x14, 0x20});
const std::vector<uint8_t> kResumeDirect = cc({0x14, 0x29});
const std::vector<uint8_t> kEndOfCaption = cc({0x14, 0x2F});
const std::vector<uint8_t> kEraseDisplayed = cc({0x14, 0x2C});
const std::vector<uint8_t> kCarriageReturn = cc({0x14, 0x2D});
const std::vector<uint8_t> kNullPair = cc({0x00, 0x00});

class Eia608Test : public ContextTest {
protected:
    const test_host::Event &last(const std::string &name)
    {
        for (auto it = host.events.rbegin(); it != host.events.rend(); ++it) {
            if (it->name == name)
                return *it;
        }
        ADD_FAILURE() << "no " << name << " event";
        static test_host::Event none;
        return none;
    }

    size_t count(const std::string &name) const
    {
        size_t n = 0;
        for (const auto &e : host.events)
            n += e.name == name;
        return n;
    }

    std::string shown(int id) { return test_host::describe(window(id)); }
};

// Same form as test_host::describe, for the snapshots a callback received.
std::string seen(const test_host::Event &event, size_t index = 0)
{
    std::string out;
    for (const auto &s : event.windows.at(index).segments) {
        if (!out.empty())
            out += '|';
        out += std::to_string(s.row) + ':' + std::to_string(s.column) + ':' + test_host::utf8(s.text);
    }
    return out;
}

TEST_F(Eia608Test, PopOnBuildsTwoStyledLinesInHiddenMemoryAndShowsThemAtEndOfCaption)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    EXPECT_EQ(decode(kResumeCaptionLoading + cc({0x14, 0x2E}) // erase hidden memory
                     + cc({0x14, 0x44})                       // row 13, blue
                     + chars("Hi") + cc({0x11, 0x2E})         // mid-row: italics, same colour
                     + chars("you") + cc({0x14, 0x61})        // row 14, white, underline
                     + chars("OK")),
              SOFTCC_OK);
    // Loading into the hidden memory draws nothing until the swap.
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(0, 1));
    EXPECT_EQ(shown(0), "");
    // The mid-row space still has the old pen and joins the run before it.
    EXPECT_EQ(shown(1), "13:0:Hi |13:3:you|14:0:OK");

    ASSERT_EQ(decode(kEndOfCaption), SOFTCC_OK);
    const auto &swap = last("refresh");
    EXPECT_THAT(swap.window_ids, ElementsAre(0, 1));
    EXPECT_EQ(swap.windows[0].record.flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_NE(swap.windows[1].record.flags & SOFTCC_WINDOW_VISIBLE, 0);
    const auto &segments = swap.windows[1].segments;
    ASSERT_EQ(segments.size(), 3u);
    EXPECT_EQ(segments[0].pen.fg_color, 0x02);
    EXPECT_EQ(segments[0].pen.attributes, 0);
    EXPECT_EQ(segments[1].pen.fg_color, 0x02);
    EXPECT_EQ(segments[1].pen.attributes, SOFTCC_PEN_ITALICS);
    EXPECT_EQ(segments[2].pen.fg_color, 0x2A);
    EXPECT_EQ(segments[2].pen.attributes, SOFTCC_PEN_UNDERLINE);
    for (const auto &s : segments)
        EXPECT_EQ(s.caption_mode, 2);
    // Writing goes on in the memory that is now hidden.
    EXPECT_EQ(context->current_window, 0);

    ASSERT_EQ(decode(kNullPair + kEndOfCaption), SOFTCC_OK);
    EXPECT_NE(window(0).flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_EQ(window(1).flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_EQ(context->current_window, 1);
}

TEST_F(Eia608Test, PaintOnDrawsAtOnceAndEditsWithBackspaceTabAndBackground)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    ASSERT_EQ(decode(kResumeDirect + cc({0x14, 0x72}) + chars("AB")), SOFTCC_OK);
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(0));
    EXPECT_EQ(seen(host.events[0]), "14:4:AB");

    host.clear();
    decode(cc({0x14, 0x21})); // backspace
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_EQ(shown(0), "14:4:A");

    decode(chars(" ") + cc({0x10, 0x25})); // space, then blue translucent background
    decode(chars("C"));
    auto segments = test_host::segments_of(window(0));
    ASSERT_EQ(shown(0), "14:4:A|14:5: C");
    EXPECT_EQ(segments[1].pen.bg_color, 0x02);
    EXPECT_EQ(segments[1].pen.bg_opacity, 2u);

    decode(cc({0x17, 0x2D}) + chars("D")); // background transparent replaces the C
    segments = test_host::segments_of(window(0));
    EXPECT_EQ(segments.back().pen.bg_color, 0x22);
    EXPECT_EQ(segments.back().pen.bg_opacity, 3u);
    EXPECT_EQ(shown(0), "14:4:A|14:5: |14:6: D");

    decode(cc({0x14, 0x72}) + cc({0x14, 0x24})); // back to column 4, delete to end of row
    EXPECT_EQ(shown(0), "");

    decode(cc({0x14, 0x7E}) + cc({0x17, 0x23}) + kNullPair + cc({0x17, 0x23}) + chars("Z"));
    EXPECT_EQ(shown(0), "14:31:Z"); // tab offsets stop at column 31
}

TEST_F(Eia608Test, CharacterSetsAndExtendedCharacterReplacement)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    auto text = [&] {
        auto segments = test_host::segments_of(window(0));
        EXPECT_EQ(segments.size(), 1u);
        return segments.empty() ? std::u16string() : segments[0].text;
    };
    decode(kResumeDirect + cc({0x14, 0x70}) + cc({0x2A, 0x7F}) + cc({0x45, 0x00}));
    EXPECT_EQ(text(), std::u16string(u"\u00E1\u25A0E"));
    decode(cc({0x12, 0x21})); // capital E acute replaces its stand-in
    EXPECT_EQ(text(), std::u16string(u"\u00E1\u25A0\u00C9"));
    decode(cc({0x11, 0x39})); // special characters add, they replace nothing
    EXPECT_EQ(text(), std::u16string(u"\u00E1\u25A0\u00C9\uF8FE"));
    decode(cc({0x13, 0x2B}));
    EXPECT_EQ(text(), std::u16string(u"\u00E1\u25A0\u00C9\\"));
    decode(cc({0x12, 0x2B}) + cc({0x00, 0x41}));
    EXPECT_EQ(text(), std::u16string(u"\u00E1\u25A0\u00C9\u00A9A"));
}

TEST_F(Eia608Test, LongRowKeepsReplacingTheLastColumn)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeDirect + cc({0x14, 0x70}) + chars("abcdefghijklmnopqrstuvwxyz0123456X"));
    auto segments = test_host::segments_of(window(0));
    ASSERT_EQ(segments.size(), 1u);
    EXPECT_EQ(segments[0].text.size(), 32u);
    EXPECT_EQ(test_host::utf8(segments[0].text), "abcdefghijklmnopqrstuvwxyz01234X");
}

TEST_F(Eia608Test, RollUpGrowsShrinksMovesBaseRowAndBecomesPaintOnText)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(cc({0x14, 0x25}) + chars("L1"));
    EXPECT_EQ(window(0).row_count, 2);
    EXPECT_EQ(window(0).cursor_row, 1);
    EXPECT_EQ(shown(0), "1:0:L1");

    host.clear();
    decode(kCarriageReturn);
    ASSERT_THAT(host.names(), ElementsAre("scroll"));
    EXPECT_EQ(seen(host.events[0]), "0:0:L1");
    EXPECT_EQ(window(0).cursor_row, 1);

    decode(chars("L2") + cc({0x14, 0x26})); // Roll-Up 3: an empty row appears on top
    EXPECT_EQ(window(0).row_count, 3);
    EXPECT_EQ(shown(0), "1:0:L1|2:0:L2");
    decode(kCarriageReturn + chars("L3") + cc({0x14, 0x27})); // Roll-Up 4
    EXPECT_EQ(window(0).row_count, 4);
    EXPECT_EQ(shown(0), "1:0:L1|2:0:L2|3:0:L3");
    decode(kCarriageReturn + chars("L4"));
    EXPECT_EQ(shown(0), "0:0:L1|1:0:L2|2:0:L3|3:0:L4");

    host.clear();
    decode(cc({0x14, 0x25})); // back to two rows: the two oldest go
    EXPECT_THAT(host.names(), IsEmpty());
    EXPECT_EQ(window(0).row_count, 2);
    EXPECT_EQ(shown(0), "0:0:L3|1:0:L4");
    EXPECT_EQ(context->format_state.eia608.rollup_depth, 2u);

    decode(cc({0x10, 0x40})); // a PAC on row 10 moves the base row
    EXPECT_EQ(window(0).row_count, 6);
    EXPECT_EQ(context->format_state.eia608.rollup_base_row, 10u);
    EXPECT_EQ(window(0).cursor_row, 1);

    host.clear();
    decode(kResumeCaptionLoading + chars("N"));
    EXPECT_EQ(window(0).row_count, 15);
    EXPECT_EQ(shown(0), "9:0:L3|10:0:L4");
    for (const auto &s : test_host::segments_of(window(0)))
        EXPECT_EQ(s.caption_mode, 3);
    EXPECT_EQ(shown(1), "14:0:N"); // the hidden memory's cursor never moved
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
}

TEST_F(Eia608Test, EnteringRollUpDropsOtherTextFromBothMemories)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeCaptionLoading + cc({0x14, 0x70}) + chars("pop") + kEndOfCaption +
           kResumeCaptionLoading + chars("next"));
    ASSERT_EQ(shown(1), "14:0:pop");
    ASSERT_EQ(shown(0), "14:0:next");
    host.clear();
    decode(cc({0x14, 0x25}));
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_THAT(host.events[0].window_ids, ElementsAre(1));
    EXPECT_EQ(shown(0), "");
    EXPECT_EQ(shown(1), "");
    EXPECT_EQ(window(1).row_count, 2);
    EXPECT_EQ(window(1).cursor_row, 1);
    EXPECT_EQ(window(1).cursor_column, 0);
    EXPECT_EQ(context->format_state.eia608.rollup_base_row, 14u);
    EXPECT_EQ(context->current_window, 1);
}

TEST_F(Eia608Test, CarriageReturnOutsideRollUpChangesNothing)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeDirect + cc({0x14, 0x70}) + chars("ab"));
    host.clear();
    decode(kCarriageReturn);
    EXPECT_THAT(host.names(), IsEmpty());
    EXPECT_EQ(window(0).cursor_column, 2);
}

TEST_F(Eia608Test, TextModeOnFirstTextServiceFillsBoxAndScrollsFromLastRow)
{
    open(SOFTCC_FORMAT_EIA608, 4);
    decode(chars("no") + cc({0x14, 0x2A}) + chars("Hi"));
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh"));
    const CaptionWindow &box = host.events[0].windows[0].record;
    EXPECT_EQ(box.style.fill_opacity, 0u);
    EXPECT_EQ(box.row_count, 15);
    EXPECT_EQ(shown(0), "0:0:Hi");
    EXPECT_EQ(test_host::segments_of(window(0))[0].caption_mode, 4);

    decode(kCarriageReturn + chars("Yo"));
    EXPECT_EQ(shown(0), "0:0:Hi|1:0:Yo");
    for (int i = 0; i < 13; ++i)
        decode(kNullPair + kCarriageReturn);
    EXPECT_EQ(window(0).cursor_row, 14);
    host.clear();
    decode(kNullPair + kCarriageReturn);
    ASSERT_THAT(host.names(), ElementsAre("scroll"));
    EXPECT_EQ(shown(0), "0:0:Yo");
    EXPECT_EQ(window(0).cursor_row, 14);

    // Resume Text Display keeps the text; Text Restart erases it.
    decode(cc({0x14, 0x2B}));
    EXPECT_EQ(shown(0), "0:0:Yo");
    decode(cc({0x14, 0x2A}));
    EXPECT_EQ(shown(0), "");
    // A caption mode start on the text service stops text drawing.
    decode(kResumeDirect + chars("zz"));
    EXPECT_EQ(shown(0), "");
}

TEST_F(Eia608Test, TextModeOnThirdTextServiceStartsWithFieldTwoCode)
{
    open(SOFTCC_FORMAT_EIA608, 6);
    decode(cc({0x15, 0x2A}) + chars("T3"));
    EXPECT_EQ(shown(0), "0:0:T3");
    EXPECT_EQ(context->format_state.eia608.text_active, 1);
}

TEST_F(Eia608Test, SecondTextServiceForwardsLinkBytes)
{
    open(SOFTCC_FORMAT_EIA608, 5);
    decode(cc({0x1C, 0x2A}));
    host.clear();
    decode(chars("<ab>x<y>z"));
    ASSERT_THAT(host.names(), ElementsAre("link", "link", "link", "refresh", "link", "refresh"));
    EXPECT_THAT(host.events[0].bytes, ElementsAre('<', 'a'));
    EXPECT_THAT(host.events[1].bytes, ElementsAre('b', '>'));
    EXPECT_THAT(host.events[2].bytes, ElementsAre('<'));
    EXPECT_THAT(host.events[4].bytes, ElementsAre('y', '>'));
    EXPECT_EQ(shown(0), "0:0:xz");

    host.clear();
    decode(chars("[q]r"));
    ASSERT_THAT(host.names(), ElementsAre("link", "link", "refresh"));
    EXPECT_THAT(host.events[1].bytes, ElementsAre(']'));
    EXPECT_EQ(shown(0), "0:0:xzr");
}

TEST_F(Eia608Test, XdsServiceForwardsPairsUntilControlCode)
{
    open(SOFTCC_FORMAT_EIA608, 15);
    decode(chars("ab") + cc({0x01, 0x03}) + chars("BC") + cc({0x0F, 0x1D}) + chars("  ") +
           cc({0x15, 0x2C}) + chars("DE"));
    ASSERT_THAT(host.names(), ElementsAre("xds", "xds", "xds", "xds"));
    EXPECT_THAT(host.events[0].bytes, ElementsAre(0x01, 0x03));
    EXPECT_THAT(host.events[1].bytes, ElementsAre('B', 'C'));
    EXPECT_THAT(host.events[2].bytes, ElementsAre(0x0F, 0x1D));
    EXPECT_THAT(host.events[3].bytes, ElementsAre(' ', ' '));
    EXPECT_EQ(shown(0), "");
}

TEST_F(Eia608Test, XdsOnCaptionServiceDrawsNothingUntilControlCode)
{
    open(SOFTCC_FORMAT_EIA608, 2);
    decode(cc({0x15, 0x29}) + cc({0x14, 0x70}) + chars("AB") + cc({0x01, 0x03}) + chars("xy"));
    EXPECT_EQ(shown(0), "14:0:AB");
    host.clear();
    decode(cc({0x14, 0x2C}) + chars("CD"));
    ASSERT_THAT(host.names(), ElementsAre("refresh", "refresh"));
    EXPECT_EQ(shown(0), "14:2:CD");
    EXPECT_THAT(count("xds"), 0u);
}

TEST_F(Eia608Test, OtherChannelIsIgnoredUntilOwnChannelStartsAMode)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeDirect + cc({0x14, 0x70}) + chars("AB") + cc({0x1C, 0x25}) + chars("CD") +
           cc({0x1C, 0x2C}) + cc({0x1C, 0x70}));
    EXPECT_EQ(shown(0), "14:0:AB");
    EXPECT_EQ(window(0).row_count, 15);
    decode(kResumeDirect + chars("EF"));
    EXPECT_EQ(shown(0), "14:0:ABEF");
}

TEST_F(Eia608Test, RepeatFilterActsOnEveryOtherCopy)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kEraseDisplayed + kEraseDisplayed); // no mode yet: the erase still gets through
    EXPECT_EQ(count("refresh"), 1u);
    host.clear();
    decode(kEraseDisplayed + kEraseDisplayed + kEraseDisplayed);
    EXPECT_EQ(count("refresh"), 2u);
    host.clear();
    decode(kNullPair + kEraseDisplayed + kNullPair + kEraseDisplayed);
    EXPECT_EQ(count("refresh"), 1u) << "without a mode the null pair never reaches the filter";

    decode(kResumeDirect);
    host.clear();
    decode(kEraseDisplayed + kNullPair + kEraseDisplayed);
    EXPECT_EQ(count("refresh"), 2u);
    host.clear();
    decode(kNullPair + kEraseDisplayed + chars("a") + kEraseDisplayed);
    EXPECT_EQ(count("refresh"), 3u); // erase, the character, erase
}

TEST_F(Eia608Test, ParityErrorClearsScreenEvenWithoutService)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeDirect + cc({0x14, 0x70}) + chars("AB"));
    host.clear();
    const std::vector<uint8_t> bad_second = {odd('C'), 'D'}; // 0x44: even parity
    decode(bad_second);
    ASSERT_THAT(host.names(), ElementsAre("refresh"));
    EXPECT_EQ(shown(0), "");
    EXPECT_EQ(window(0).style.fill_opacity, 3u);
    // Characters still go on after the reset: the mode survives.
    decode(chars("E"));
    EXPECT_EQ(shown(0), "14:2:E");

    ASSERT_EQ(VQSoftCCSelectService(context, 0xFFFFFFFFu), SOFTCC_OK);
    host.clear();
    decode(kResumeDirect + chars("XY"));
    EXPECT_THAT(host.names(), IsEmpty());
    decode({0x00, 0x00});
    EXPECT_THAT(host.names(), ElementsAre("refresh"));
}

TEST_F(Eia608Test, PairsSplitAcrossCallsDecodeAsInOneCall)
{
    const std::vector<uint8_t> stream = kResumeCaptionLoading + cc({0x13, 0x50}) +
                                        chars("split me") + cc({0x11, 0x21}) + chars("!") +
                                        kEndOfCaption + cc({0x14, 0x25}) + chars("x");
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(stream);
    const auto whole = host.names();
    const std::string whole0 = shown(0), whole1 = shown(1);
    VQSoftCCClose(context);
    context = nullptr;

    open(SOFTCC_FORMAT_EIA608, 0);
    for (uint8_t b : stream)
        ASSERT_EQ(VQSoftCCDecode(context, &b, 1), SOFTCC_OK);
    EXPECT_EQ(host.names(), whole);
    EXPECT_EQ(shown(0), whole0);
    EXPECT_EQ(shown(1), whole1);

    const uint8_t half = odd(0x14);
    decode({half});
    EXPECT_EQ(context->format_state.eia608.have_first_byte, 1);
}

TEST_F(Eia608Test, FailuresOfWindowCommandsAreReportedByPath)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeDirect + cc({0x14, 0x70}) + chars("A"));
    fake_platform::clear_reports();
    fake_platform::fail_mallocs_from(1);
    decode(cc({0x11, 0x20}) + chars("B") + cc({0x14, 0x28}));
    fake_platform::fail_mallocs_from(0);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report608(SOFTCC_ERR_NO_MEMORY, 242,
                                      "Could not process captioning code\n"),
                            report608(SOFTCC_ERR_NO_MEMORY, 242,
                                      "Could not process captioning code\n")));
    VQSoftCCClose(context);
    context = nullptr;

    open(SOFTCC_FORMAT_EIA608, 4);
    decode(cc({0x14, 0x2A}) + chars("A"));
    fake_platform::clear_reports();
    fake_platform::fail_mallocs_from(1);
    decode(cc({0x14, 0x28}));
    fake_platform::fail_mallocs_from(0);
    EXPECT_THAT(fake_platform::reports(),
                ElementsAre(report608(SOFTCC_ERR_NO_MEMORY, 252, "Could not process text code\n")));
}

TEST_F(Eia608Test, FlashOnSpaceStaysAloneAndPreambleEndsTheFlash)
{
    open(SOFTCC_FORMAT_EIA608, 4);
    decode(cc({0x14, 0x2A}) + chars("a") + cc({0x14, 0x28}) + chars("b") + cc({0x14, 0x70}) +
           cc({0x14, 0x23}) /* alarm on: nothing */ + chars("c"));
    ASSERT_EQ(shown(0), "0:0:c|0:1: |0:2:b");
    auto segments = test_host::segments_of(window(0));
    EXPECT_EQ(segments[1].no_merge, 1);
    EXPECT_EQ(segments[1].pen.fg_opacity, 1u);
    EXPECT_EQ(segments[2].pen.fg_opacity, 1u);
    EXPECT_EQ(segments[0].pen.fg_opacity, 0u);
}

TEST_F(Eia608Test, GarbageIsConsumedWithoutHarm)
{
    std::mt19937 random(608);
    std::vector<uint8_t> noise(4001);
    for (uint8_t &b : noise)
        b = static_cast<uint8_t>(random());
    for (uint32_t service : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 15u, 9u}) {
        open(SOFTCC_FORMAT_EIA608, service);
        EXPECT_EQ(decode(noise), SOFTCC_OK);
        EXPECT_EQ(decode(std::vector<uint8_t>(64, 0x00)), SOFTCC_OK);
        EXPECT_EQ(decode(std::vector<uint8_t>(64, 0xFF)), SOFTCC_OK);
        EXPECT_EQ(decode({0x94}), SOFTCC_OK);
        EXPECT_EQ(vqsoftcc_internal_decode_eia608(context, nullptr, 0), SOFTCC_OK);
        EXPECT_EQ(vqsoftcc_internal_decode_eia608(context, nullptr, 2), SOFTCC_ERR_NULL_POINTER);
        EXPECT_EQ(vqsoftcc_internal_decode_eia608(nullptr, noise.data(), 2),
                  SOFTCC_ERR_NULL_POINTER);
        VQSoftCCClose(context);
        context = nullptr;
    }
}

// Reads the SCC samples ("HH:MM:SS;FF<TAB>hhhh hhhh ...") and decodes every word as a pair.
std::vector<uint8_t> scc_bytes(const std::string &path)
{
    std::ifstream in(path);
    std::vector<uint8_t> out;
    std::string line;
    while (std::getline(in, line)) {
        size_t tab = line.find('\t');
        if (tab == std::string::npos)
            continue;
        std::istringstream words(line.substr(tab + 1));
        std::string word;
        while (words >> word) {
            if (word.size() != 4)
                continue;
            unsigned value = std::stoul(word, nullptr, 16);
            out.push_back(static_cast<uint8_t>(value >> 8));
            out.push_back(static_cast<uint8_t>(value));
        }
    }
    return out;
}

void collect_scc(const std::string &dir, std::vector<std::string> &files)
{
    DIR *d = opendir(dir.c_str());
    if (d == nullptr)
        return;
    while (dirent *entry = readdir(d)) {
        std::string name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        std::string path = dir + "/" + name;
        if (entry->d_type == DT_DIR)
            collect_scc(path, files);
        else if (name.size() > 4 && name.substr(name.size() - 4) == ".scc")
            files.push_back(path);
    }
    closedir(d);
}

TEST_F(Eia608Test, SccSamplesDecodeWithoutReports)
{
    std::vector<std::string> files;
    collect_scc(VQSOFTCC_SAMPLES_DIR, files);
    if (files.empty())
        GTEST_SKIP() << "no SCC samples under " << VQSOFTCC_SAMPLES_DIR;
    size_t drawn = 0;
    for (const std::string &file : files) {
        const std::vector<uint8_t> bytes = scc_bytes(file);
        if (bytes.empty())
            continue;
        open(SOFTCC_FORMAT_EIA608, 0);
        EXPECT_EQ(decode(bytes), SOFTCC_OK) << file;
        EXPECT_THAT(fake_platform::reports(), IsEmpty()) << file;
        drawn += count("refresh");
        VQSoftCCClose(context);
        context = nullptr;
    }
    EXPECT_GT(drawn, files.size());
}

} // namespace
