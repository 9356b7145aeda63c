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

/* The bytes at `offset` in which two pens differ, among those the mask keeps
 * (all without one). */
template <typename Word>
Word word_difference(const PenStyle *a, const PenStyle *b, const PenStyle *mask, int offset)
{
    Word u, v;
    __builtin_memcpy(&u, reinterpret_cast<const uint8_t *>(a) + offset, sizeof u);
    __builtin_memcpy(&v, reinterpret_cast<const uint8_t *>(b) + offset, sizeof v);
    Word difference = u ^ v;
    if (mask != nullptr) {
        Word m;
        __builtin_memcpy(&m, reinterpret_cast<const uint8_t *>(mask) + offset, sizeof m);
        difference &= m;
    }
    return difference;
}

/* Whether two pens agree in the bytes the mask keeps: four long words and a
 * word, written out, since the compiler does not always unroll a loop, and
 * inline, since it does not always inline this into a join. */
VQSOFTCC_INLINE bool same_pen_bytes(const PenStyle *a, const PenStyle *b, const PenStyle *mask)
{
    static_assert(sizeof(PenStyle) == 36, "five words cover a pen");
    uint64_t differ = word_difference<uint64_t>(a, b, mask, 0) |
                      word_difference<uint64_t>(a, b, mask, 8) |
                      word_difference<uint64_t>(a, b, mask, 16) |
                      word_difference<uint64_t>(a, b, mask, 24);
    return (differ | word_difference<uint32_t>(a, b, mask, 32)) == 0;
}

/* The pens of two runs, compared as bytes.  A run's pen has zero padding: the
 * run is zero-filled when allocated and its pen is written field by field
 * (vqsoftcc_internal_apply_pen_style) or copied whole from another run, so
 * equal fields mean equal bytes. */
VQSOFTCC_INLINE bool same_run_pen(const PenStyle *a, const PenStyle *b)
{
    return same_pen_bytes(a, b, nullptr);
}

/* Every byte of a pen that holds a field; its padding bytes are zero. */
constexpr PenStyle kPenFieldBytes = {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF, 0xFFFFFFFFu, 0xFF,
                                     0xFFFFFFFFu, 0xFFFFFFFFu, 0xFF, 0xFF, 0xFFFFFFFFu};

/* Whether a run's pen has the fields of a window's pen.  The window's padding
 * does not decide, and the run's is zero, so this is what comparing the run
 * with one just given that pen (same_run_pen) would answer. */
bool run_has_pen(const PenStyle *run_pen, const PenStyle *pen)
{
    return same_pen_bytes(run_pen, pen, &kPenFieldBytes);
}

} // namespace

/* Field by field: the padding of the run's pen stays as it was. */
void vqsoftcc_internal_apply_pen_style(TextSegment *segment, const PenStyle *pen)
{
    if (segment == nullptr || pen == nullptr)
        return;
    PenStyle &to = segment->pen;
    to.pen_size = pen->pen_size;
    to.font_style = pen->font_style;
    to.fg_color = pen->fg_color;
    to.fg_opacity = pen->fg_opacity;
    to.bg_color = pen->bg_color;
    to.bg_opacity = pen->bg_opacity;
    to.edge_type = pen->edge_type;
    to.edge_color = pen->edge_color;
    to.attributes = pen->attributes;
    to.pen_offset = pen->pen_offset;
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

/* ---- Text runs ------------------------------------------------------------ */

namespace {

/* Runs typed leftwards or upwards keep their text at the end of chars so the
 * buffer grows in the typing direction without moving what is there. */
bool is_right_aligned(uint32_t print_direction)
{
    return print_direction == 1 || print_direction == 3;
}

/* Contents scrolling sideways (0, 1) make a line a column. */
bool has_vertical_lines(uint32_t scroll_direction)
{
    return scroll_direction == 0 || scroll_direction == 1;
}

/* Where a run lies: its line and its first position on that line.  The axis
 * is a template parameter so that the list walks compile to plain loads. */
template <bool kVertical> int run_line(const TextSegment *s)
{
    return kVertical ? s->column : s->row;
}

template <bool kVertical> int run_position(const TextSegment *s)
{
    return kVertical ? s->row : s->column;
}

template <bool kVertical> void move_run_start(TextSegment *s, int position)
{
    if (kVertical)
        s->row = (int8_t)position;
    else
        s->column = (int8_t)position;
}

/* Element by element so overlapping moves in either direction are safe. */
void move_chars(uint16_t *to, const uint16_t *from, int count)
{
    if (to < from) {
        for (int i = 0; i < count; ++i)
            to[i] = from[i];
    } else {
        for (int i = count - 1; i >= 0; --i)
            to[i] = from[i];
    }
}

/* Keeps the first count characters of a run. */
void keep_run_head(TextSegment *s, int count, bool right)
{
    if (right) {
        uint16_t *to = &s->chars[SOFTCC_SEGMENT_CHARS - count];
        move_chars(to, s->text, count);
        s->text = to;
    }
    s->length = (uint8_t)count;
}

/* Drops the first count characters of a run, which then starts later. */
template <bool kVertical> void drop_run_head(TextSegment *s, int count, bool right)
{
    move_run_start<kVertical>(s, run_position<kVertical>(s) + count);
    s->length = (uint8_t)(s->length - count);
    if (right) {
        s->text += count;
    } else {
        move_chars(s->chars, s->text + count, s->length);
        s->text = s->chars;
    }
}

void link_after(CaptionWindow *window, TextSegment *previous, TextSegment *s, TextSegment *next)
{
    s->next = next;
    if (previous != nullptr)
        previous->next = s;
    else
        window->segments = s;
}

void unlink_segment(CaptionWindow *window, TextSegment *s)
{
    TextSegment **link = &window->segments;
    while (*link != nullptr && *link != s)
        link = &(*link)->next;
    if (*link == s)
        *link = s->next;
}

/* The part of E before s becomes a run of its own, placed before E. */
template <bool kVertical> TextSegment *split_off_head(TextSegment *e, int count, bool right)
{
    TextSegment *head = vqsoftcc_internal_new_segment();
    if (head == nullptr)
        return nullptr;
    head->in_use = 1;
    head->row = e->row;
    head->column = e->column;
    head->reserved_a = e->reserved_a;
    head->pen = e->pen;
    head->caption_mode = e->caption_mode;
    head->length = (uint8_t)count;
    head->text = right ? &head->chars[SOFTCC_SEGMENT_CHARS - count] : head->chars;
    move_chars(head->text, e->text, count);
    drop_run_head<kVertical>(e, count, right);
    return head;
}

/* Whether b continues a on its line and may join it.  The cheap tests come
 * first: most neighbours fail on their place, not on their pen. */
template <bool kVertical> VQSOFTCC_INLINE bool can_join(const TextSegment *a, const TextSegment *b)
{
    return a->no_merge == 0 && b->no_merge == 0 && a->caption_mode == b->caption_mode &&
           run_line<kVertical>(a) == run_line<kVertical>(b) &&
           run_position<kVertical>(b) == run_position<kVertical>(a) + a->length &&
           a->length + b->length <= SOFTCC_SEGMENT_CHARS && same_run_pen(&a->pen, &b->pen);
}

/* b's characters go behind a's; b leaves the list and is released.  The two
 * runs are distinct blocks, so a plain forward copy does. */
VQSOFTCC_INLINE TextSegment *join(TextSegment *a, TextSegment *b, bool right)
{
    int total = a->length + b->length;
    uint16_t *to;
    if (right) {
        to = &a->chars[SOFTCC_SEGMENT_CHARS - total];
        move_chars(to, a->text, a->length);
        a->text = to;
        to = &a->chars[SOFTCC_SEGMENT_CHARS - b->length];
    } else {
        to = &a->chars[a->length];
        a->text = a->chars;
    }
    const uint16_t *from = b->text;
    for (int i = 0; i < b->length; ++i)
        to[i] = from[i];
    a->length = (uint8_t)total;
    a->next = b->next;
    VQFree(b);
    return a;
}

template <bool kVertical> TextSegment *join_if_possible(TextSegment *a, TextSegment *b, bool right)
{
    if (a == nullptr || b == nullptr || !can_join<kVertical>(a, b))
        return nullptr;
    return join(a, b, right);
}

/* Runs ending inside s are removed or lose their tail; a run reaching past
 * s's end is split or loses its head.  Answers false, with the list
 * unchanged, when a split finds no memory. */
template <bool kVertical>
bool cut_covered_runs(CaptionWindow *window, TextSegment *s, TextSegment *&previous,
                      TextSegment *&e, bool right)
{
    int line = run_line<kVertical>(s);
    int start = run_position<kVertical>(s);
    int end = start + s->length;
    while (e != nullptr && run_line<kVertical>(e) == line &&
           run_position<kVertical>(e) + e->length <= end) {
        TextSegment *next = e->next;
        int e_start = run_position<kVertical>(e);
        if (e_start >= start) {
            if (previous != nullptr)
                previous->next = next;
            else
                window->segments = next;
            VQFree(e);
        } else {
            /* In a sorted list E's tail runs into s. A window whose scroll
             * axis changed under its text can hold a run that ends before s
             * here: it keeps its length, since growing it would reach past
             * its characters. */
            int kept = start - e_start;
            keep_run_head(e, kept < e->length ? kept : e->length, right);
            previous = e;
        }
        e = next;
    }
    if (e == nullptr || run_line<kVertical>(e) != line)
        return true;
    int e_start = run_position<kVertical>(e);
    if (e_start < start) {
        TextSegment *head = split_off_head<kVertical>(e, start - e_start, right);
        if (head == nullptr)
            return false;
        link_after(window, previous, head, e);
        previous = head;
        e_start = run_position<kVertical>(e);
    }
    if (e_start < end)
        drop_run_head<kVertical>(e, end - e_start, right);
    return true;
}

/* Joins s with the run before it and the result with the run after it. */
template <bool kVertical>
VQSOFTCC_INLINE void join_neighbours(TextSegment *previous, TextSegment *s, TextSegment *next,
                                     bool right)
{
    TextSegment *left = s;
    if (previous != nullptr && can_join<kVertical>(previous, s))
        left = join(previous, s, right);
    if (next != nullptr && can_join<kVertical>(left, next))
        join(left, next, right);
}

/* s covers runs of its line: they are cut first, then s goes in. */
template <bool kVertical>
VQSOFTCC_NOINLINE SoftCCStatus insert_over_runs(CaptionWindow *window, TextSegment *s,
                                                TextSegment *previous, TextSegment *e, bool right)
{
    if (!cut_covered_runs<kVertical>(window, s, previous, e, right))
        return SOFTCC_ERR_NO_MEMORY;
    link_after(window, previous, s, e);
    join_neighbours<kVertical>(previous, s, e, right);
    return SOFTCC_OK;
}

/* Where a run starting at `start` on `line` goes: after the runs on earlier
 * lines and those ending at or before its start (the last of them becomes
 * `previous`), before the first run it returns. */
template <bool kVertical>
VQSOFTCC_INLINE TextSegment *find_place(const CaptionWindow *window, int line, int start,
                                        TextSegment *&previous)
{
    previous = nullptr;
    TextSegment *e = window->segments;
    while (e != nullptr) {
        int e_line = run_line<kVertical>(e);
        if (e_line > line)
            break;
        if (e_line == line) {
            int e_start = run_position<kVertical>(e);
            if (e_start >= start || e_start + e->length > start)
                break;
        }
        previous = e;
        e = e->next;
    }
    return e;
}

/* Whether a run [start, end) on `line` leaves the run e, found by find_place, alone. */
template <bool kVertical>
VQSOFTCC_INLINE bool clear_of(const TextSegment *e, int line, int end)
{
    return e == nullptr || run_line<kVertical>(e) > line || end <= run_position<kVertical>(e);
}

template <bool kVertical>
VQSOFTCC_INLINE SoftCCStatus insert_along(CaptionWindow *window, TextSegment *s, bool right)
{
    int line = run_line<kVertical>(s);
    int start = run_position<kVertical>(s);
    TextSegment *previous;
    TextSegment *e = find_place<kVertical>(window, line, start, previous);
    if (!clear_of<kVertical>(e, line, start + s->length))
        return insert_over_runs<kVertical>(window, s, previous, e, right);
    link_after(window, previous, s, e);
    join_neighbours<kVertical>(previous, s, e, right);
    return SOFTCC_OK;
}

VQSOFTCC_INLINE SoftCCStatus insert_run(CaptionWindow *window, TextSegment *s)
{
    bool right = is_right_aligned(window->style.print_direction);
    if (has_vertical_lines(window->style.scroll_direction))
        return insert_along<true>(window, s, right);
    return insert_along<false>(window, s, right);
}

/* A zero-filled run.  Inline: closing a run allocates the next one. */
VQSOFTCC_INLINE TextSegment *allocate_run()
{
    TextSegment *segment = (TextSegment *)VQMalloc(sizeof(TextSegment));
    if (segment != nullptr)
        VQMemset(segment, 0, sizeof(TextSegment));
    return segment;
}

/* The next character goes inside the window; a negative cursor stays. */
void clamp_cursor(CaptionWindow *window)
{
    if ((int)window->row_count <= window->cursor_row)
        window->cursor_row = (int16_t)(window->row_count - 1);
    if ((int)window->column_count <= window->cursor_column)
        window->cursor_column = (int16_t)(window->column_count - 1);
}

/* Whether a character typed at (row, column) left to right, as a run of its
 * own, would join `previous` when closed: the run ends just before it, has
 * room, and carries what the closed run would carry. */
bool continues_run(const TextSegment *previous, const TextSegment *fresh,
                                   const CaptionWindow *window, int row, int column)
{
    return previous->no_merge == 0 && fresh->no_merge == 0 &&
           previous->caption_mode == fresh->caption_mode && previous->row == row &&
           previous->column + previous->length == column &&
           previous->length < SOFTCC_SEGMENT_CHARS && run_has_pen(&previous->pen, &window->pen);
}

/* A character at index i of a run that grows to the right; outside the
 * buffer it is dropped. */
VQSOFTCC_INLINE void place_left_aligned(TextSegment *s, int i, uint16_t ch)
{
    if (i < 0 || i > 51)
        return;
    s->chars[i] = ch;
    s->text = s->chars;
    if (i >= s->length)
        s->length = (uint8_t)(i + 1);
}

/* The first character of a window, or the first after a failed
 * allocation, needs a run to go into.  Out of line, so that typing into an
 * existing run calls nothing. */
VQSOFTCC_RARE SoftCCStatus add_char_to_new_segment(CaptionWindow *window, uint16_t ch)
{
    window->current_segment = vqsoftcc_internal_new_segment();
    if (window->current_segment == nullptr)
        return SOFTCC_ERR_NO_MEMORY;
    return vqsoftcc_internal_add_char_to_current_segment(window, ch);
}

} // namespace

TextSegment *vqsoftcc_internal_new_segment(void)
{
    return allocate_run();
}

SoftCCStatus vqsoftcc_internal_add_char_to_current_segment(CaptionWindow *window, uint16_t ch)
{
    TextSegment *s = window->current_segment;
    if (s == nullptr)
        return add_char_to_new_segment(window, ch);
    clamp_cursor(window);
    if (s->in_use == 0) {
        s->in_use = 1;
        s->row = (int8_t)(uint8_t)window->cursor_row;
        s->column = (int8_t)(uint8_t)window->cursor_column;
        s->length = 0;
        s->text = nullptr;
    }
    uint32_t direction = window->style.print_direction;
    if (direction == 0) { /* left to right, as nearly all text is typed */
        place_left_aligned(s, window->cursor_column - s->column, ch);
        ++window->cursor_column;
        return SOFTCC_OK;
    }
    bool along_rows = direction == 2 || direction == 3;
    int p = along_rows ? window->cursor_row : window->cursor_column;
    int start = along_rows ? s->row : s->column;
    if (is_right_aligned(direction)) {
        int end = s->length != 0 ? start + s->length - 1 : start;
        int i = 51 - (end - p);
        if (i >= 0 && i <= 51) {
            s->chars[i] = ch;
            if (i < SOFTCC_SEGMENT_CHARS - s->length) {
                s->length = (uint8_t)(SOFTCC_SEGMENT_CHARS - i);
                if (along_rows)
                    s->row = (int8_t)p;
                else
                    s->column = (int8_t)p;
                s->text = &s->chars[i];
            }
        }
    } else {
        place_left_aligned(s, p - start, ch);
    }
    switch (direction) {
    case 1:
        if (window->cursor_column > 0)
            --window->cursor_column;
        break;
    case 2:
        ++window->cursor_row;
        break;
    case 3:
        if (window->cursor_row > 0)
            --window->cursor_row;
        break;
    default:
        ++window->cursor_column;
        break;
    }
    return SOFTCC_OK;
}

SoftCCStatus vqsoftcc_internal_terminate_current_segment(SoftCCContext *context)
{
    /* Like every internal operation on a context, it checks the pointer again. */
    if (context == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    if (context->current_window < 0)
        return SOFTCC_OK;
    CaptionWindow *window = &context->windows[context->current_window];
    TextSegment *s = window->current_segment;
    if (s == nullptr)
        return SOFTCC_OK;
    vqsoftcc_internal_apply_pen_style(s, &window->pen);
    if (s->in_use == 0)
        return SOFTCC_OK;
    SoftCCStatus status = insert_run(window, s);
    if (status != SOFTCC_OK)
        return status;
    vqsoftcc_internal_debug_char_buffer(window);
    window->current_segment = allocate_run();
    return window->current_segment != nullptr ? SOFTCC_OK : SOFTCC_ERR_NO_MEMORY;
}

/*
 * Typing a character and closing its run at once, in the common case of text
 * shown as it is typed left to right: the window's fresh current segment
 * would take the character at the cursor and, when closed, join the run that
 * ends just before it.  The character goes straight onto that run instead,
 * and the fresh segment is released and replaced as that join and closing
 * release and replace it, so VQFree and VQMalloc see the same calls.  The
 * joined run may then join the run after it, as after closing.
 * Answers false, with nothing changed but the cursor clamped as typing
 * clamps it, in every other case.  Closing failed when the window is left
 * without a current segment.
 */
bool vqsoftcc_internal_type_onto_previous_run(CaptionWindow *window, uint16_t ch)
{
    TextSegment *fresh = window->current_segment;
    if (fresh == nullptr || fresh->in_use != 0 || window->style.print_direction != 0 ||
        has_vertical_lines(window->style.scroll_direction))
        return false;
    clamp_cursor(window);
    /* A run keeps its place in 8 bits; a cursor beyond them takes the long way. */
    int row = (int8_t)(uint8_t)window->cursor_row;
    int column = (int8_t)(uint8_t)window->cursor_column;
    if (column != window->cursor_column)
        return false;
    TextSegment *previous;
    TextSegment *next = find_place<false>(window, row, column, previous);
    if (previous == nullptr || !clear_of<false>(next, row, column + 1) ||
        !continues_run(previous, fresh, window, row, column))
        return false;

    /* What typing, closing and the join with `previous` would leave. */
    ++window->cursor_column;
    previous->chars[previous->length] = ch;
    previous->text = previous->chars;
    ++previous->length;
    VQFree(fresh);
    if (next != nullptr && can_join<false>(previous, next))
        join(previous, next, false);
    vqsoftcc_internal_debug_char_buffer(window);
    window->current_segment = allocate_run();
    return true;
}

SoftCCStatus vqsoftcc_internal_insert_segment(CaptionWindow *window, TextSegment *s)
{
    if (s == nullptr)
        return SOFTCC_ERR_NULL_POINTER;
    return insert_run(window, s);
}

TextSegment *vqsoftcc_internal_merge_segments(TextSegment *a, TextSegment *b,
                                              uint32_t print_direction, uint32_t scroll_direction)
{
    bool right = is_right_aligned(print_direction);
    if (has_vertical_lines(scroll_direction))
        return join_if_possible<true>(a, b, right);
    return join_if_possible<false>(a, b, right);
}

/* ---- Cursor editing and scrolling ----------------------------------------- */

/* An erase range is an empty run inserted over the text to remove, so the
 * insertion's cutting and splitting does the erasing; then it goes again. */
SoftCCStatus vqsoftcc_internal_erase_at_cursor(CaptionWindow *window, uint8_t count)
{
    TextSegment *range = window->current_segment;
    if (range != nullptr && range->length != 0)
        return SOFTCC_ERR_NO_MEMORY;
    if (range == nullptr) {
        range = vqsoftcc_internal_new_segment();
        window->current_segment = range;
        if (range == nullptr)
            return SOFTCC_ERR_NO_MEMORY;
    }
    range->in_use = 1;
    range->row = (int8_t)(uint8_t)window->cursor_row;
    range->column = (int8_t)(uint8_t)window->cursor_column;
    range->length = count;
    range->text = range->chars;
    range->no_merge = 1;
    SoftCCStatus status = vqsoftcc_internal_insert_segment(window, range);
    if (status != SOFTCC_OK)
        return status;
    unlink_segment(window, range);
    VQFree(range);
    window->current_segment = nullptr;
    return SOFTCC_OK;
}

/* The cursor steps back against the print direction and the character it
 * lands on goes; at the far edge, where it cannot step past the last
 * character, that one goes first. */
SoftCCStatus vqsoftcc_internal_backspace(CaptionWindow *window)
{
    uint32_t direction = window->style.print_direction;
    bool along_rows = direction == 2 || direction == 3;
    bool leftward = is_right_aligned(direction);
    int16_t *cursor = along_rows ? &window->cursor_row : &window->cursor_column;
    int last = (along_rows ? window->row_count : window->column_count) - 1;
    if (*cursor == (leftward ? 0 : last)) {
        SoftCCStatus status = vqsoftcc_internal_erase_at_cursor(window, 1);
        if (status != SOFTCC_OK)
            return status;
    }
    if (leftward)
        *cursor = (int16_t)(*cursor < last ? *cursor + 1 : last);
    else
        *cursor = (int16_t)(*cursor > 0 ? *cursor - 1 : 0);
    return vqsoftcc_internal_erase_at_cursor(window, 1);
}

SoftCCStatus vqsoftcc_internal_delete_to_end_of_row(CaptionWindow *window)
{
    uint32_t direction = window->style.print_direction;
    int count = (direction == 2 || direction == 3) ? window->row_count - window->cursor_row
                                                   : window->column_count - window->cursor_column;
    return vqsoftcc_internal_erase_at_cursor(window, (uint8_t)count);
}

void vqsoftcc_internal_carriage_return(CaptionWindow *window)
{
    switch (window->style.print_direction) {
    case 1:
        window->cursor_column = (int16_t)(window->column_count - 1);
        break;
    case 2:
        window->cursor_row = 0;
        break;
    case 3:
        window->cursor_row = (int16_t)(window->row_count - 1);
        break;
    default:
        window->cursor_column = 0;
        break;
    }
}

/* Only a run's first position decides whether it has left the window. */
void vqsoftcc_internal_scroll_window(CaptionWindow *window)
{
    if (window->defined == 0)
        return;
    vqsoftcc_internal_debug_char_buffer(window);
    uint32_t direction = window->style.scroll_direction > 3 ? 3 : window->style.scroll_direction;
    TextSegment **link = &window->segments;
    while (*link != nullptr) {
        TextSegment *s = *link;
        bool gone;
        if (direction == 0 || direction == 1) {
            s->column = (int8_t)(s->column + (direction == 0 ? 1 : -1));
            gone = direction == 0 ? s->column >= window->column_count : s->column < 0;
        } else {
            s->row = (int8_t)(s->row + (direction == 2 ? 1 : -1));
            gone = direction == 2 ? s->row >= window->row_count : s->row < 0;
        }
        if (gone) {
            *link = s->next;
            VQFree(s);
        } else {
            link = &s->next;
        }
    }
}
