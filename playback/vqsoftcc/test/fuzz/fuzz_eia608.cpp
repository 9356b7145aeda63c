// 608 input: the first byte picks the service, the rest is the pair stream.
#include "checking_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    static const uint32_t services[] = {0, 1, 2, 3, 4, 5, 6, 7, 15, 0xFFFFFFFFu, 9};
    fake_platform::reset();
    checking_host::Host host;
    checking_host::run_stream(&host, SOFTCC_FORMAT_EIA608, services[data[0] % 11], data + 1, size - 1);
    return 0;
}
