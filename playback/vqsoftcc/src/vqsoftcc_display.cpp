/*
 * The caption display model shared by both decoders: style records, caption
 * windows and the runs of styled text they hold.
 */
#include "vqsoftcc_internal.h"

/* ---- Styles and windows -------------------------------------------------- */

/* Field by field at each field's own width: padding never decides. */
int vqsoftcc_internal_window_style_cmp(const WindowStyle *a, const WindowStyle *b)
{
    return a->justify == b->justify && a->print_direction == b->print_direction &&
           a->scroll_direction == b->scroll_direction && a->word_wrap == b->word_wrap &&
           a->display_effect == b->display_effect && a->effect_direction == b->effect_direction &&
           a->effect_speed == b->effect_speed && a->fill_color == b->fill_color &&
           a->fill_opacity == b->fill_opacity && a->border_type == b->border_type &&
           a->border_color == b->border_color;
}

int vqsoftcc_internal_pen_style_cmp(const PenStyle *a, const PenStyle *b)
{
    return a->pen_size == b->pen_size && a->font_style == b->font_style &&
           a->fg_color == b->fg_color && a->fg_opacity == b->fg_opacity &&
           a->bg_color == b->bg_color && a->bg_opacity == b->bg_opacity &&
           a->edge_type == b->edge_type && a->edge_color == b->edge_color &&
           a->attributes == b->attributes && a->pen_offset == b->pen_offset;
}

namespace {

template <typename T> void copy_if_different(T &to, T from)
{
    if (to != from)
        to = from;
}

} // namespace

void vqsoftcc_internal_apply_pen_style(TextSegment *segment, const PenStyle *pen)
{
    if (segment == nullptr || pen == nullptr)
        return;
    PenStyle &to = segment->pen;
    copy_if_different(to.pen_size, pen->pen_size);
    copy_if_different(to.font_style, pen->font_style);
    copy_if_different(to.fg_color, pen->fg_color);
    copy_if_different(to.fg_opacity, pen->fg_opacity);
    copy_if_different(to.bg_color, pen->bg_color);
    copy_if_different(to.bg_opacity, pen->bg_opacity);
    copy_if_different(to.edge_type, pen->edge_type);
    copy_if_different(to.edge_color, pen->edge_color);
    copy_if_different(to.attributes, pen->attributes);
    copy_if_different(to.pen_offset, pen->pen_offset);
}

void vqsoftcc_internal_clear_window(CaptionWindow *window)
{
    TextSegment *segment = window->segments;
    while (segment != nullptr) {
        TextSegment *next = segment->next;
        VQFree(segment);
        segment = next;
    }
    window->segments = nullptr;
}

void vqsoftcc_internal_delete_window(CaptionWindow *window)
{
    window->defined = 0;
    if (window->current_segment != nullptr) {
        VQFree(window->current_segment);
        window->current_segment = nullptr;
    }
    vqsoftcc_internal_clear_window(window);
}

/* A hook for debugging builds to dump a window after each change; it does
 * nothing in the library. */
void vqsoftcc_internal_debug_char_buffer(CaptionWindow *window)
{
    (void)window;
}
