// The callback plumbing both test hosts share: an open profile whose
// callbacks keep the alarm the library armed and pass everything else on
// to the host's windows(), armed(), cancelled() and bytes(), with the
// callback's name and number (define 0, refresh 1, scroll 2, delete 3,
// set_alarm 4, cancel_alarm 5, xds and link 6).
#pragma once

#include "vqsoftcc.h"

namespace test_host {

template <typename H> H *to(void *user) { return static_cast<H *>(user); }
using Data = const uint8_t *;

template <typename H> SoftCCOpenProfile routed_profile(H *host, uint32_t format, uint32_t service)
{
    SoftCCOpenProfile p{};
    p.format = format;
    p.service = service;
    p.user = host;
    p.define_windows = [](void *u, CaptionWindow *w) { return to<H>(u)->windows("define", 0, w); };
    p.refresh_windows = [](void *u, CaptionWindow *w) { return to<H>(u)->windows("refresh", 1, w); };
    p.scroll_windows = [](void *u, CaptionWindow *w) { return to<H>(u)->windows("scroll", 2, w); };
    p.delete_windows = [](void *u, CaptionWindow *w) { return to<H>(u)->windows("delete", 3, w); };
    p.set_delay_alarm = [](void *u, uint32_t ms, SoftCCAlarmFunction alarm, void *context) {
        auto *h = to<H>(u);
        h->alarm = alarm, h->alarm_context = context;
        return h->armed(ms);
    };
    p.cancel_delay_alarm = [](void *u) {
        auto *h = to<H>(u);
        h->alarm = nullptr, h->alarm_context = nullptr;
        return h->cancelled();
    };
    p.forward_xds_data = [](void *u, Data d, uint32_t n) { return to<H>(u)->bytes("xds", d, n); };
    p.forward_link_data = [](void *u, Data d, uint32_t n) { return to<H>(u)->bytes("link", d, n); };
    return p;
}

} // namespace test_host
