/*
 * The cc_data helper of the JavaScript package: one call splits triplets
 * into the pairs of each field (written to an area JavaScript provides) and
 * whole DTVCC packets (handed over one by one), by the rules of ccdata.h.
 */
#include "ccdata.h"
#include "vqsoftcc_platform.h"
#include "wasm_host.h"

namespace {

struct SplitterSink {
    VqjsSplitter *splitter;

    void pair(uint32_t cc_type, const uint8_t *bytes)
    {
        uint32_t &length = splitter->field_length[cc_type];
        if (length + 2 > splitter->field_capacity)
            return;
        uint8_t *area = splitter->pairs + cc_type * splitter->field_capacity;
        area[length++] = bytes[0];
        area[length++] = bytes[1];
    }
    void packet(const uint8_t *bytes, uint32_t size)
    {
        vqjs_import_packet(splitter, bytes, size);
    }
};

}  // namespace

extern "C" {

VQJS_EXPORT(vqjs_new_splitter) VqjsSplitter *vqjs_new_splitter(void)
{
    VqjsSplitter *splitter = static_cast<VqjsSplitter *>(VQMalloc(sizeof(VqjsSplitter)));
    if (splitter != nullptr)
        VQMemset(splitter, 0, sizeof(VqjsSplitter));
    return splitter;
}

// `pairs` holds field 1's pairs, then field 2's, field_capacity bytes each.
// Null data is the end of the input: the packet being collected is completed.
VQJS_EXPORT(vqjs_split_ccdata) void vqjs_split_ccdata(VqjsSplitter *splitter, const uint8_t *data, uint32_t length,
                                                      uint8_t *pairs, uint32_t field_capacity)
{
    SplitterSink sink{splitter};
    splitter->pairs = pairs;
    splitter->field_capacity = field_capacity;
    splitter->field_length[0] = splitter->field_length[1] = 0;
    if (data != nullptr)
        vqjs::split_triplets(splitter->input, data, length, sink);
    else
        vqjs::complete_packet(splitter->input, sink);
}

}  // extern "C"
