// The 608 byte input has shortcuts for what most frames bring: parity
// folded into a nibble, and a call that carries only the null pair 80 80.
// A host must not be able to tell them from the plain path.
#include "context_fixture.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes cc(Bytes bytes)
{
    for (uint8_t &b : bytes)
        b = __builtin_parity(b) ? b : static_cast<uint8_t>(b | 0x80);
    return bytes;
}

class PairShortcutTest : public ContextTest {
protected:
    // Every callback with the windows and bytes it was handed, then the reports.
    std::string seen() const
    {
        std::string out;
        for (const test_host::Event &e : host.events) {
            out += e.name;
            for (const test_host::WindowView &w : e.windows)
                out += " #" + std::to_string(w.record.id) + "[" +
                       test_host::describe(w.segments) + "]";
            for (uint8_t b : e.bytes)
                out += " " + std::to_string(b);
            out += "; ";
        }
        for (const fake_platform::Report &r : fake_platform::reports())
            out += r.message;
        return out;
    }
};

TEST_F(PairShortcutTest, EveryByteOfEvenParityClearsTheScreenInEitherHalf)
{
    open(0); // no caption mode yet: pairs of odd parity are dropped unseen
    for (int v = 0; v < 256; ++v) {
        const uint8_t byte = static_cast<uint8_t>(v);
        for (const Bytes &pair : {Bytes{byte, 0x80}, Bytes{0x80, byte}}) {
            host.clear();
            decode(pair);
            EXPECT_EQ(host.names().size(), __builtin_parity(v) ? 0u : 1u) << "byte " << v;
        }
    }
}

// Where the null pair does more than clear the repeat filter, fed as a call
// of its own, inside one buffer and byte by byte.
TEST_F(PairShortcutTest, NullPairActsAloneAsInsideABuffer)
{
    const Bytes null = {0x80, 0x80};
    struct Case {
        uint32_t service;
        Bytes before, after;
        const char *seen;
    } cases[] = {
        {0, cc({0x14, 0x29, 0x14, 0x2C}), cc({0x14, 0x2C, 'A', 'B'}), // repeat filter cleared
         "refresh #0[]; refresh #0[]; refresh #0[14:0:AB]; "},
        {15, cc({0x01, 0x03, 0x41, 0x42}), cc({0x0F, 0x10, 0x15, 0x2C}), // XDS data
         "xds 1 3; xds 65 66; xds 0 0; xds 15 16; "},
        {2, cc({0x01, 0x03}), cc({0x41, 0x42, 0x14, 0x2C}), "refresh #0[]; "}, // XDS on CC3
        {5, cc({0x1C, 0x2A, '<', 'a'}), cc({'b', '>', 'x', 'y'}), // zero byte of a T2 link
         "refresh #0[]; link 60 97; link 0; link 98 62; refresh #0[0:0:xy]; "},
        {4, cc({0x14, 0x2A, 'H', 'I'}), cc({0x14, 0x2D, 'J', 0}),
         "refresh #0[]; refresh #0[0:0:HI]; refresh #0[0:0:HI|1:0:J]; "},
        {0xFFFFFFFFu, cc({0x14, 0x29}), cc({'A', 'B'}), ""},
    };
    for (const Case &c : cases) {
        Bytes all = c.before;
        all.insert(all.end(), null.begin(), null.end());
        all.insert(all.end(), c.after.begin(), c.after.end());
        for (int way = 0; way < 3; ++way) {
            open(0, c.service);
            fake_platform::clear_reports();
            if (way == 0) {
                decode(c.before), decode(null), decode(c.after);
            } else if (way == 1) {
                decode(all);
            } else {
                for (uint8_t b : all)
                    decode({b});
            }
            EXPECT_EQ(seen(), c.seen) << "service " << c.service << ", way " << way;
        }
    }
}

} // namespace
