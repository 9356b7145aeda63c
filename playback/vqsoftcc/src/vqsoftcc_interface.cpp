/*
 * The library's face to the host: the six exported functions.  Each checks
 * its arguments and dispatches on the context's current format; only the
 * format switch has logic of its own.  Nothing here reports through
 * VQNOTIFY_implementation: the decoders do that.
 */
#include "vqsoftcc_internal.h"

namespace {

bool is_known_format(uint32_t format)
{
    return format == SOFTCC_FORMAT_EIA608 || format == SOFTCC_FORMAT_EIA708;
}

SoftCCStatus open_decoder(uint32_t format, const SoftCCOpenProfile *profile, SoftCCContext **slot)
{
    return format == SOFTCC_FORMAT_EIA608 ? vqsoftcc_internal_open_eia608(profile, slot)
                                          : vqsoftcc_internal_open_eia708(profile, slot);
}

SoftCCStatus close_decoder(SoftCCContext *context)
{
    return context->format == SOFTCC_FORMAT_EIA608 ? vqsoftcc_internal_close_eia608(context)
                                                   : vqsoftcc_internal_close_eia708(context);
}

/* Bytes of the state area that the decoder of `format` owns. */
uint32_t format_state_size(uint32_t format)
{
    return format == SOFTCC_FORMAT_EIA608 ? sizeof(Eia608State) : sizeof(Eia708State);
}

} // namespace

extern "C" {

VQSOFTCC_API SoftCCStatus VQSoftCCOpen(const SoftCCOpenProfile *profile, SoftCCContext **context)
{
    if (profile == nullptr || context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;

    SoftCCContext *created = static_cast<SoftCCContext *>(VQMalloc(sizeof(SoftCCContext)));
    if (created == nullptr)
        return SOFTCC_ERR_NO_MEMORY;
    VQMemset(created, 0, sizeof(SoftCCContext));

    created->format = profile->format;
    created->service = profile->service;
    created->profile = *profile;

    if (!is_known_format(profile->format)) {
        VQFree(created);
        return SOFTCC_ERR_UNSUPPORTED;
    }

    /* The decoder reaches the new context through this slot. */
    SoftCCContext *slot = created;
    SoftCCStatus status = open_decoder(profile->format, profile, &slot);
    if (status != SOFTCC_OK) {
        VQFree(created);
        *context = nullptr;
        return status;
    }
    *context = created;
    return SOFTCC_OK;
}

VQSOFTCC_API SoftCCStatus VQSoftCCClose(SoftCCContext *context)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    SoftCCStatus status = is_known_format(context->format) ? close_decoder(context)
                                                           : SOFTCC_ERR_FORMAT;
    VQFree(context);
    return status;
}

VQSOFTCC_API SoftCCStatus VQSoftCCReset(SoftCCContext *context)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    switch (context->format) {
    case SOFTCC_FORMAT_EIA608:
        return vqsoftcc_internal_reset_eia608(context);
    case SOFTCC_FORMAT_EIA708:
        return vqsoftcc_internal_reset_eia708(context);
    default:
        return SOFTCC_ERR_FORMAT;
    }
}

VQSOFTCC_API SoftCCStatus VQSoftCCDecode(SoftCCContext *context, const uint8_t *data, uint32_t length)
{
    if (context == nullptr || data == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    switch (context->format) {
    case SOFTCC_FORMAT_EIA608:
        return vqsoftcc_internal_decode_eia608(context, data, length);
    case SOFTCC_FORMAT_EIA708:
        return vqsoftcc_internal_decode_eia708(context, data, length);
    default:
        return SOFTCC_ERR_FORMAT;
    }
}

VQSOFTCC_API SoftCCStatus VQSoftCCSelectService(SoftCCContext *context, uint32_t service)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    switch (context->format) {
    case SOFTCC_FORMAT_EIA608:
        return vqsoftcc_internal_select_service_eia608(context, service);
    case SOFTCC_FORMAT_EIA708:
        /* 708 service numbers are one byte wide. */
        return vqsoftcc_internal_select_service_eia708(context, service & 0xFFu);
    default:
        return SOFTCC_ERR_FORMAT;
    }
}

/*
 * Close the current decoder, wipe its state and the windows, open the other.
 * An unknown target format is accepted and leaves no decoder open; a context
 * in that state then answers SOFTCC_ERR_FORMAT to everything but Close and a
 * SelectFormat of the same value.
 */
VQSOFTCC_API SoftCCStatus VQSoftCCSelectFormat(SoftCCContext *context, uint32_t format)
{
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    if (format == context->format)
        return SOFTCC_OK;
    if (!is_known_format(context->format))
        return SOFTCC_ERR_FORMAT;

    SoftCCStatus status = close_decoder(context);
    VQMemset(&context->format_state, 0, format_state_size(context->format));
    if (status != SOFTCC_OK)
        return status;

    context->format = format;
    context->profile.format = format;
    VQMemset(context->windows, 0, sizeof(context->windows));
    context->current_window = SOFTCC_NO_WINDOW;

    if (!is_known_format(format))
        return SOFTCC_OK;

    /* A switch always starts on the format's first service: CC1 or service 1. */
    uint32_t first_service = format == SOFTCC_FORMAT_EIA608 ? 0u : 1u;
    context->service = first_service;
    context->profile.service = first_service;
    SoftCCContext *slot = context;
    return open_decoder(format, &context->profile, &slot);
}

} // extern "C"
