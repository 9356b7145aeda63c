// 708 input: the first byte picks the service, the rest is the DTVCC stream.
#include "fuzz_host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size < 1)
        return 0;
    fuzz_host::run_stream(SOFTCC_FORMAT_EIA708, data[0] % 8, data + 1, size - 1);
    return 0;
}
