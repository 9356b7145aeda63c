// Control calls between decodes: each step's first byte chooses a decode of
// the next few bytes, a reset, a service or format switch, an alarm expiry,
// a change of failing callbacks or an allocation failure plan.
#include "checking_host.h"
#include "vqsoftcc_internal.h"

namespace {

void require(bool condition)
{
    if (!condition)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fake_platform::reset();
    const int64_t before = fake_platform::live_blocks();
    checking_host::Host host;
    SoftCCOpenProfile p = checking_host::profile(&host, size > 0 ? data[0] & 1u : 0u, 0);
    SoftCCContext *context = nullptr;
    if (VQSoftCCOpen(&p, &context) != SOFTCC_OK)
        return 0;

    size_t i = 1;
    while (i + 1 < size) {
        uint8_t op = data[i++];
        uint8_t arg = data[i++];
        switch (op % 8) {
        case 0:
        case 1:
        case 2: { // decode the next arg bytes
            size_t n = arg < size - i ? arg : size - i;
            require(VQSoftCCDecode(context, data + i, static_cast<uint32_t>(n)) == SOFTCC_OK);
            i += n;
            break;
        }
        case 3:
            VQSoftCCReset(context);
            break;
        case 4:
            VQSoftCCSelectService(context, arg == 0xFF ? 0xFFFFFFFFu : arg % 70);
            break;
        case 5: {
            // A 708 close reports success even when delete_windows failed, and
            // the switch then wipes the windows with their runs: keep the
            // host's delete working across switches so that is not counted.
            uint8_t failing = host.failing_callbacks;
            host.failing_callbacks &= static_cast<uint8_t>(~(1u << 3));
            VQSoftCCSelectFormat(context, arg % 2);
            host.failing_callbacks = failing;
            break;
        }
        case 6:
            if (host.alarm != nullptr)
                require(host.alarm(host.alarm_context) == SOFTCC_OK);
            break;
        case 7:
            if (arg & 0x80)
                fake_platform::fail_nth_malloc(arg & 0x0F);
            else
                host.failing_callbacks = arg;
            break;
        }
        for (const CaptionWindow &w : context->windows)
            checking_host::check_window(&host, &w);
        require(fake_platform::live_blocks() - before <= checking_host::kMaxLiveBlocks);
    }
    fake_platform::fail_nth_malloc(0);
    host.failing_callbacks = 0;
    VQSoftCCClose(context);
    require(fake_platform::live_blocks() == before);
    return 0;
}
