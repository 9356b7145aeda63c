// Common ground of the library tests: a fresh fake platform and a recording
// host per test, and the check that nothing stays allocated afterwards.
#pragma once

#include <gmock/gmock.h>

#include <cstring>
#include <vector>

#include "fake_platform.h"
#include "recording_host.h"
#include "vqsoftcc_internal.h"

class ContextTest : public ::testing::Test {
protected:
    void SetUp() override { fake_platform::reset(), blocks_before_ = fake_platform::live_blocks(); }

    void TearDown() override
    {
        VQSoftCCClose(context); // a null context is refused quietly
        context = nullptr;
        EXPECT_EQ(fake_platform::live_blocks(), blocks_before_) << "blocks leaked";
    }

    // Opens a context of the format, closing any open one first; fails the
    // test if that does not work.
    void open(uint32_t format, uint32_t service = 0)
    {
        VQSoftCCClose(context);
        profile = host.profile(format, service);
        ASSERT_EQ(VQSoftCCOpen(&profile, &context), SOFTCC_OK);
        host.clear();
    }

    // Feeds bytes as one buffer.
    SoftCCStatus decode(const std::vector<uint8_t> &bytes)
    {
        return VQSoftCCDecode(context, bytes.data(), static_cast<uint32_t>(bytes.size()));
    }

    CaptionWindow &window(int id) { return context->windows[id]; }

    test_host::RecordingHost host;
    SoftCCOpenProfile profile{};
    SoftCCContext *context = nullptr;

private:
    int64_t blocks_before_ = 0;
};

inline fake_platform::Report report608(SoftCCStatus status, uint32_t line, const char *message)
{
    return {0, status, "playback/vqsoftcc/src/vqsoftcc_eia608", line, message};
}

inline fake_platform::Report report708(SoftCCStatus status, uint32_t line, const char *message)
{
    return {0, status, "playback/vqsoftcc/src/vqsoftcc_eia708", line, message};
}
