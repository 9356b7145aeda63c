// 708 input: the first byte picks the service, the rest is the DTVCC stream.
#include "checking_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    fake_platform::reset();
    checking_host::Host host;
    checking_host::run_stream(&host, SOFTCC_FORMAT_EIA708, data[0] % 8, data + 1, size - 1);
    return 0;
}
