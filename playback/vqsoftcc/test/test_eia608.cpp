// The 608 decoder as a host sees it: line-21 byte pairs with their parity
// bits go in through VQSoftCCDecode; callbacks and window snapshots come out.
#include "context_fixture.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>

using ::testing::ElementsAre;

namespace {

using Bytes = std::vector<uint8_t>;

// Sets bit 7 where needed so that the byte has odd parity, as on line 21.
uint8_t odd(uint8_t b)
{
    return __builtin_parity(b) ? b : static_cast<uint8_t>(b | 0x80);
}

// 7-bit pair values to a transmitted stream.
Bytes cc(Bytes bytes)
{
    for (uint8_t &b : bytes)
        b = odd(b);
    return bytes;
}

// Basic characters, padded with 0x00 to whole pairs.
Bytes chars(std::string text)
{
    if (text.size() % 2 != 0)
        text += '\0';
    return cc(Bytes(text.begin(), text.end()));
}

Bytes operator+(Bytes a, const Bytes &b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

const Bytes kResumeCaptionLoading = cc({0x14, 0x20});
const Bytes kResumeDirect = cc({0x14, 0x29});
const Bytes kEndOfCaption = cc({0x14, 0x2F});
const Bytes kEraseDisplayed = cc({0x14, 0x2C});
const Bytes kCarriageReturn = cc({0x14, 0x2D});
const Bytes kTextRestart = cc({0x14, 0x2A});
const Bytes kNullPair = cc({0x00, 0x00});
const Bytes kPaintOnBottom = kResumeDirect + cc({0x14, 0x70}); // row 14, column 0

class Eia608Test : public ContextTest {
protected:
    // The callbacks made, in order, with #id for each window handed over when
    // asked; xds and link data follow, bytes outside '!'..'~' as ^ and hex.
    std::string callbacks(bool with_ids = false) const
    {
        std::string out;
        for (const auto &e : host.events) {
            out += (out.empty() ? "" : " ") + e.name + (e.bytes.empty() ? "" : ":");
            for (int id : e.window_ids)
                out += with_ids ? "#" + std::to_string(id) : "";
            for (uint8_t b : e.bytes) {
                char text[4];
                std::snprintf(text, sizeof text, b > 0x20 && b < 0x7F ? "%c" : "^%02X", b);
                out += text;
            }
        }
        return out;
    }

    std::string shown(int id) { return test_host::describe(window(id)); }

    // Rows, cursor row and column, then the text of a window.
    std::string layout(int id)
    {
        const CaptionWindow &w = window(id);
        return std::to_string(w.row_count) + " rows @" + std::to_string(w.cursor_row) + "," +
               std::to_string(w.cursor_column) + " " + shown(id);
    }
};

// The pen of each run: foreground colour/opacity, background colour/opacity,
// attribute bits, caption mode, and * for a run that must stay alone.
std::string pens(const std::vector<test_host::SegmentView> &segments)
{
    std::string out;
    for (const auto &s : segments) {
        char text[48];
        std::snprintf(text, sizeof text, "%s%02X/%u %02X/%u a%u m%u%s", out.empty() ? "" : "|",
                      s.pen.fg_color, s.pen.fg_opacity, s.pen.bg_color, s.pen.bg_opacity,
                      s.pen.attributes, s.caption_mode, s.no_merge ? "*" : "");
        out += text;
    }
    return out;
}

TEST_F(Eia608Test, PopOnLoadsStyledLinesHiddenSwapsAtEndOfCaptionAndGivesWayToRollUp)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeCaptionLoading + cc({0x14, 0x2E}) // erase hidden memory
           + cc({0x14, 0x45})                       // row 13, blue, underline
           + chars("Hi") + cc({0x11, 0x2E})         // mid-row: italics, same colour
           + chars("you") + cc({0x14, 0x61})        // row 14, white, underline
           + chars("OK"));
    // Loading into the hidden memory draws nothing until the swap.
    EXPECT_EQ(callbacks(true), "refresh#0#1");

    host.clear();
    decode(kEndOfCaption);
    ASSERT_EQ(callbacks(true), "refresh#0#1");
    const auto &swap = host.events[0];
    EXPECT_EQ(swap.windows[0].record.flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_NE(swap.windows[1].record.flags & SOFTCC_WINDOW_VISIBLE, 0);
    // The mid-row space keeps the old colour but never the underline.
    EXPECT_EQ(test_host::describe(swap.windows[1].segments), "13:0:Hi|13:2: |13:3:you|14:0:OK");
    EXPECT_EQ(pens(swap.windows[1].segments),
              "02/0 00/0 a2 m2|02/0 00/0 a0 m2|02/0 00/0 a1 m2|2A/0 00/0 a2 m2");
    // Writing goes on in the memory that is now hidden; a second swap shows it.
    EXPECT_EQ(context->current_window, 0);
    decode(chars("Z") + kEndOfCaption);
    EXPECT_NE(window(0).flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_EQ(window(1).flags & SOFTCC_WINDOW_VISIBLE, 0);
    EXPECT_EQ(context->current_window, 1);
    EXPECT_EQ(shown(0), "14:0:Z");

    // Roll-up drops the text of both memories and redraws the one shown.
    host.clear();
    decode(cc({0x14, 0x25}));
    EXPECT_EQ(callbacks(true), "refresh#0");
    EXPECT_EQ(layout(0) + "/" + layout(1), "2 rows @1,0 /15 rows @14,2 ");
    EXPECT_EQ(context->format_state.eia608.rollup_base_row, 14u);
}

TEST_F(Eia608Test, PaintOnDrawsAtOnceAndEditsWithBackspaceBackgroundDeleteAndFlash)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(kResumeDirect + cc({0x14, 0x72}) + chars("AB"));
    ASSERT_EQ(callbacks(true), "refresh#0");
    EXPECT_EQ(test_host::describe(host.events[0].windows.at(0).segments), "14:4:AB");

    host.clear();
    decode(cc({0x14, 0x21})); // backspace
    EXPECT_EQ(callbacks(), "refresh");
    EXPECT_EQ(shown(0), "14:4:A");

    // A background code replaces the space before it with a space of its own
    // pen: blue translucent, then transparent in place of the C.
    decode(chars(" ") + cc({0x10, 0x25}) + chars("C") + cc({0x17, 0x2D}) + chars("D"));
    EXPECT_EQ(shown(0), "14:4:A|14:5: |14:6: D");
    EXPECT_EQ(pens(test_host::segments_of(window(0))),
              "2A/0 00/0 a0 m3|2A/0 02/2 a0 m3|2A/0 22/3 a0 m3");

    decode(cc({0x14, 0x72}) + cc({0x14, 0x24})); // back to column 4, delete to end of row
    EXPECT_EQ(shown(0), "");

    // The flashing space stays a run of its own; a PAC ends the flash.
    decode(chars("a") + cc({0x14, 0x28}) + chars("b") + cc({0x14, 0x72}) +
           cc({0x14, 0x23}) /* alarm on: nothing */ + chars("c"));
    ASSERT_EQ(shown(0), "14:4:c|14:5: |14:6:b");
    EXPECT_EQ(pens(test_host::segments_of(window(0))),
              "2A/0 22/3 a0 m3|2A/1 22/3 a0 m3*|2A/1 22/3 a0 m3");
}

TEST_F(Eia608Test, ChannelsModesFilterAndPlacement)
{
    // One stream on one service, and what the host ends with: the callbacks
    // made (null: not checked) and the text of window 0.
    const struct {
        const char *what; uint32_t service; Bytes stream; const char *callbacks, *window0;
    } cases[] = {
        // Repeat filter and the caption gate before it.
        {"no mode: characters dropped, a doubled erase acts once, a third copy again", 0,
         chars("no") + kEraseDisplayed + kEraseDisplayed + kEraseDisplayed, "refresh refresh", ""},
        {"no mode: the null pair never reaches the filter", 0,
         kNullPair + kEraseDisplayed + kNullPair + kEraseDisplayed, "refresh", ""},
        {"a null pair or a character makes the next copy new", 0,
         kResumeDirect + kEraseDisplayed + kNullPair + kEraseDisplayed + chars("a") +
             kEraseDisplayed, "refresh refresh refresh refresh", ""},
        // Data channels and fields.
        {"CC2 is ignored on CC1 until CC1 starts a mode", 0,
         kPaintOnBottom + chars("AB") + cc({0x1C, 0x25}) + chars("CD") + cc({0x1C, 0x2C}) +
             cc({0x1C, 0x70}) + kResumeDirect + chars("EF"),
         "refresh refresh", "14:0:ABEF"},
        {"CC2 is followed on service 1", 1,
         cc({0x1C, 0x29, 0x1C, 0x70}) + chars("AB") + kResumeDirect + chars("CD"), "refresh",
         "14:0:AB"},
        {"XDS on a caption service draws nothing until a control code", 2,
         cc({0x15, 0x29, 0x14, 0x70}) + chars("AB") + cc({0x01, 0x03}) + chars("xy") +
             kEraseDisplayed + chars("CD"),
         "refresh refresh refresh", "14:2:CD"},
        {"XDS codes mean nothing on a field-1 service", 0,
         kPaintOnBottom + chars("AB") + cc({0x01, 0x03}) + chars("CD"), nullptr, "14:0:ABCD"},
        {"T3 starts with the field-2 code", 6, cc({0x15, 0x2A}) + chars("T3"), "refresh refresh",
         "0:0:T3"},
        {"T1 ignores the other channel's Text Restart", 4, cc({0x1C, 0x2A}) + chars("no"), "", ""},
        {"a caption mode start stops text drawing", 4,
         kTextRestart + chars("Hi") + kResumeDirect + chars("zz"), "refresh refresh", "0:0:Hi"},
        {"T2 hands link text to the host, by the byte", 5,
         cc({0x1C, 0x2A}) + chars("<ab>x<y>z") + chars("[q]r"),
         "refresh link:<a link:b> link:< refresh link:y> refresh link:[q link:] refresh", "0:0:xzr"},
        {"XDS data goes to the host until a control code", 15,
         chars("ab") + cc({0x01, 0x03}) + chars("BC") + cc({0x0F, 0x1D}) + chars("  ") +
             cc({0x15, 0x2C}) + chars("DE"),
         "xds:^01^03 xds:BC xds:^0F^1D xds:^20^20", ""},
        // Parity errors clear the screen, whatever the service; the mode survives.
        {"parity error", 0, kPaintOnBottom + chars("AB") + Bytes{odd('C'), 'D'} + chars("E"),
         "refresh refresh refresh", "14:2:E"},
        {"no service: only a parity error acts", 0xFFFFFFFFu,
         kResumeDirect + chars("XY") + Bytes{0x00, 0x00}, "refresh", ""},
        // Cursor placement.
        {"Carriage Return outside roll-up changes nothing", 0,
         kPaintOnBottom + chars("ab") + kCarriageReturn + chars("c"), "refresh refresh", "14:0:abc"},
        {"34 characters keep replacing the last column", 0,
         kPaintOnBottom + chars("abcdefghijklmnopqrstuvwxyz0123456X"), nullptr,
         "14:0:abcdefghijklmnopqrstuvwxyz01234X"},
        {"PAC indent 28", 0, kResumeDirect + cc({0x14, 0x7F}) + chars("Z"), "refresh", "14:28:Z"},
        {"tab offsets stop at column 31, where a backspace erases two", 0,
         kResumeDirect + cc({0x14, 0x7E}) + chars("ABCD") +
             cc({0x14, 0x7E, 0x17, 0x22, 0x17, 0x23, 0x14, 0x21}), nullptr, "14:28:AB"},
        {"text mode ignores a PAC's row", 4, kTextRestart + cc({0x14, 0x7F}) + chars("Z"),
         "refresh refresh", "0:28:Z"},
        // Character sets: an extended character replaces the one before it, a special one
        // replaces nothing.
        {"basic exceptions, both extended halves, special, then an extended over A", 0,
         kPaintOnBottom + cc({0x2A, 0x7F, 0x45, 0x00, 0x12, 0x21, 0x45, 0x00, 0x13, 0x2B}) +
             cc({0x11, 0x39, 0x00, 0x41, 0x12, 0x2B}),
         nullptr, u8"14:0:\u00E1\u25A0\u00C9\\\uF8FE\u00A9"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        open(SOFTCC_FORMAT_EIA608, c.service);
        EXPECT_EQ(decode(c.stream), SOFTCC_OK);
        if (c.callbacks != nullptr)
            EXPECT_EQ(callbacks(), c.callbacks);
        EXPECT_EQ(shown(0), c.window0);
    }
}

TEST_F(Eia608Test, RollUpGrowsShrinksMovesBaseRowAndBecomesPaintOnText)
{
    open(SOFTCC_FORMAT_EIA608, 0);
    decode(cc({0x14, 0x25}) + chars("L1"));
    EXPECT_EQ(layout(0), "2 rows @1,2 1:0:L1");

    host.clear();
    decode(kCarriageReturn);
    EXPECT_EQ(callbacks(), "scroll");
    EXPECT_EQ(layout(0), "2 rows @1,0 0:0:L1");

    decode(chars("L2") + cc({0x14, 0x26})); // Roll-Up 3: an empty row appears on top
    EXPECT_EQ(layout(0), "3 rows @2,2 1:0:L1|2:0:L2");
    decode(kCarriageReturn + chars("L3") + cc({0x14, 0x27})); // Roll-Up 4
    EXPECT_EQ(layout(0), "4 rows @3,2 1:0:L1|2:0:L2|3:0:L3");
    decode(kCarriageReturn + chars("L4"));
    EXPECT_EQ(shown(0), "0:0:L1|1:0:L2|2:0:L3|3:0:L4");

    host.clear();
    decode(cc({0x14, 0x25})); // back to two rows: the two oldest go
    EXPECT_EQ(callbacks(), "");
    EXPECT_EQ(layout(0), "2 rows @1,2 0:0:L3|1:0:L4");

    decode(cc({0x10, 0x40})); // a PAC on row 10 moves the base row
    EXPECT_EQ(layout(0), "6 rows @1,0 0:0:L3|1:0:L4");

    host.clear();
    decode(kResumeCaptionLoading + chars("N"));
    EXPECT_EQ(callbacks(), "refresh");
    EXPECT_EQ(layout(0), "15 rows @1,0 9:0:L3|10:0:L4");
    EXPECT_EQ(pens(test_host::segments_of(window(0))), "2A/0 00/0 a0 m3|2A/0 00/0 a0 m3");
    EXPECT_EQ(shown(1), "14:0:N"); // the hidden memory's cursor never moved
}

TEST_F(Eia608Test, TextModeMovesDownARowPerReturnAndScrollsFromTheLast)
{
    open(SOFTCC_FORMAT_EIA608, 4);
    decode(chars("no") + kTextRestart + chars("Hi"));
    ASSERT_EQ(callbacks(), "refresh refresh");
    EXPECT_EQ(host.events[0].windows[0].record.style.fill_opacity, 0u); // an opaque box
    EXPECT_EQ(pens(test_host::segments_of(window(0))), "2A/0 00/0 a0 m4");

    decode(kCarriageReturn + chars("Yo"));
    EXPECT_EQ(shown(0), "0:0:Hi|1:0:Yo");
    for (int i = 0; i < 13; ++i)
        decode(kNullPair + kCarriageReturn);
    EXPECT_EQ(window(0).cursor_row, 14);
    host.clear();
    decode(kNullPair + kCarriageReturn);
    EXPECT_EQ(callbacks(), "scroll");
    EXPECT_EQ(layout(0), "15 rows @14,0 0:0:Yo");

    // Resume Text Display keeps the text; Text Restart erases it.
    decode(cc({0x14, 0x2B}));
    EXPECT_EQ(shown(0), "0:0:Yo");
    decode(kTextRestart);
    EXPECT_EQ(shown(0), "");
}

TEST_F(Eia608Test, InputSplitAnywhereDecodesAlikeAndGarbageDoesNoHarm)
{
    const Bytes stream = kResumeCaptionLoading + cc({0x13, 0x50}) + chars("split me") +
                         cc({0x11, 0x21}) + chars("!") + kEndOfCaption + cc({0x14, 0x25, 'x', 0});
    auto run = [&](bool split) {
        open(SOFTCC_FORMAT_EIA608, 0);
        for (size_t i = 0; i < stream.size(); i += split ? 1 : stream.size())
            decode(split ? Bytes{stream[i]} : stream);
        return callbacks() + "/" + shown(0) + "/" + shown(1);
    };
    EXPECT_EQ(run(true), run(false));
    decode({odd(0x14)});
    EXPECT_EQ(context->format_state.eia608.have_first_byte, 1);
    EXPECT_EQ(vqsoftcc_internal_decode_eia608(context, nullptr, 0), SOFTCC_OK);
    EXPECT_EQ(vqsoftcc_internal_decode_eia608(context, nullptr, 2), SOFTCC_ERR_NULL_POINTER);
    EXPECT_EQ(vqsoftcc_internal_decode_eia608(nullptr, stream.data(), 2), SOFTCC_ERR_NULL_POINTER);

    // Random bytes on every kind of service are consumed without harm.
    std::mt19937 random(608);
    Bytes noise(4001);
    std::generate(noise.begin(), noise.end(), [&] { return uint8_t(random()); });
    for (uint32_t service : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 15u, 9u}) {
        open(SOFTCC_FORMAT_EIA608, service);
        EXPECT_EQ(decode(noise), SOFTCC_OK);
    }
}

// Memory running out: a failed control code is reported by its path; a lost
// character is not, keeps its partner, and leaves the screen undrawn.
TEST_F(Eia608Test, MemoryFailuresAreReportedByPathAndSpareThePartnerCharacter)
{
    const auto caption = report608(SOFTCC_ERR_NO_MEMORY, 242, "Could not process captioning code\n");
    const struct { uint32_t service; Bytes start, failing; bool every_malloc;
                   std::vector<fake_platform::Report> reports; const char *window0; } cases[] = {
        {0, kPaintOnBottom + chars("A"), cc({0x11, 0x20}) + chars("B") + cc({0x14, 0x28}), true,
         {caption, caption}, "14:0:A "},
        {4, kTextRestart + chars("A"), cc({0x14, 0x28}), true,
         {report608(SOFTCC_ERR_NO_MEMORY, 252, "Could not process text code\n")}, "0:0:A|0:1: "},
        {0, kPaintOnBottom, chars("AB"), false, {}, "14:0:B"},
    };
    for (const auto &c : cases) {
        open(SOFTCC_FORMAT_EIA608, c.service);
        decode(c.start);
        host.clear(), fake_platform::clear_reports();
        c.every_malloc ? fake_platform::fail_mallocs_from(1) : fake_platform::fail_nth_malloc(1);
        decode(c.failing);
        fake_platform::fail_mallocs_from(0), fake_platform::fail_nth_malloc(0);
        EXPECT_EQ(fake_platform::reports(), c.reports);
        EXPECT_EQ(callbacks(), "");
        EXPECT_EQ(shown(0), c.window0);
    }
}

// The pairs of an SCC file: every 4-digit hex word (timecodes have 2-digit groups).
Bytes scc_pairs(const std::filesystem::path &path)
{
    std::ifstream in(path);
    Bytes out;
    for (std::string word; in >> word;)
        if (word.size() == 4 && word.find_first_not_of("0123456789abcdefABCDEF") == word.npos)
            out.insert(out.end(), {uint8_t(std::stoul(word.substr(0, 2), nullptr, 16)),
                                   uint8_t(std::stoul(word.substr(2), nullptr, 16))});
    return out;
}

TEST_F(Eia608Test, SccSamplesDecodeWithoutReports)
{
    if (!std::filesystem::is_directory(VQSOFTCC_SAMPLES_DIR))
        GTEST_SKIP() << "no samples under " << VQSOFTCC_SAMPLES_DIR;
    size_t files = 0, drawn = 0;
    for (const auto &entry : std::filesystem::recursive_directory_iterator(VQSOFTCC_SAMPLES_DIR)) {
        if (entry.path().extension() != ".scc")
            continue;
        const Bytes pairs = scc_pairs(entry.path());
        files += !pairs.empty();
        open(SOFTCC_FORMAT_EIA608, 0);
        decode(pairs);
        EXPECT_EQ(fake_platform::reports().size(), 0u) << entry.path();
        drawn += host.events.size();
    }
    if (files == 0)
        GTEST_SKIP() << "no SCC samples under " << VQSOFTCC_SAMPLES_DIR;
    EXPECT_GT(drawn, files);
}

} // namespace
