#include "outputs.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace softcc {

std::string timestamp(double seconds, char fraction_separator)
{
    long long ms = std::llround(seconds * 1000);
    char buf[32];
    std::snprintf(buf, sizeof buf, "%02lld:%02lld:%02lld%c%03lld", ms / 3600000, ms / 60000 % 60, ms / 1000 % 60,
                  fraction_separator, ms % 1000);
    return buf;
}

namespace {

// The private-use transparent spaces are blanks to a text renderer; the
// caption icon stays as the library gives it.
std::u16string displayed(const std::u16string &text)
{
    std::u16string out = text;
    for (char16_t &c : out) {
        if (c == 0xF8FE) c = u' ';
        if (c == 0xF8FD) c = 0xA0;
    }
    return out;
}

bool blank(const std::u16string &text)
{
    return std::all_of(text.begin(), text.end(),
                       [](char16_t c) { return c == u' ' || c == 0xA0 || c == 0xF8FE || c == 0xF8FD; });
}

// ---- json ------------------------------------------------------------------

using Json = nlohmann::ordered_json;

Json json_pen(const PenStyle &p)
{
    return Json{{"pen_size", p.pen_size},     {"font_style", p.font_style}, {"fg_color", p.fg_color},
                {"fg_opacity", p.fg_opacity}, {"bg_color", p.bg_color},     {"bg_opacity", p.bg_opacity},
                {"edge_type", p.edge_type},   {"edge_color", p.edge_color}, {"attributes", p.attributes},
                {"pen_offset", p.pen_offset}};
}

Json json_segment(const SegmentCopy &s)
{
    return Json{{"row", s.row},
                {"column", s.column},
                {"caption_mode", s.caption_mode},
                {"text", utf8(s.text)},
                {"pen", json_pen(s.pen)}};
}

Json json_window(const WindowCopy &w)
{
    const CaptionWindow &r = w.record;
    const WindowStyle &st = r.style;
    Json style = {{"justify", st.justify},
                  {"print_direction", st.print_direction},
                  {"scroll_direction", st.scroll_direction},
                  {"word_wrap", st.word_wrap},
                  {"display_effect", st.display_effect},
                  {"effect_direction", st.effect_direction},
                  {"effect_speed", st.effect_speed},
                  {"fill_color", st.fill_color},
                  {"fill_opacity", st.fill_opacity},
                  {"border_type", st.border_type},
                  {"border_color", st.border_color}};
    Json segments = Json::array();
    for (const SegmentCopy &s : w.segments) segments.push_back(json_segment(s));
    return Json{{"id", r.id},
                {"priority", r.priority},
                {"flags", r.flags},
                {"visible", (r.flags & SOFTCC_WINDOW_VISIBLE) != 0},
                {"anchor_point", r.anchor_point},
                {"anchor_vertical", r.anchor_vertical},
                {"anchor_horizontal", r.anchor_horizontal},
                {"row_count", r.row_count},
                {"column_count", r.column_count},
                {"style", style},
                {"defined", r.defined},
                {"cursor_row", r.cursor_row},
                {"cursor_column", r.cursor_column},
                {"text_tag", r.text_tag},
                {"pen", json_pen(r.pen)},
                {"segments", segments},
                {"current_segment", w.has_current ? json_segment(w.current) : Json()}};
}

class JsonSink : public Sink {
public:
    explicit JsonSink(FILE *out) : out_(out) {}
    void event(const Event &e) override
    {
        Json line = {{"callback", e.callback}};
        if (e.callback == "set_delay_alarm")
            line["milliseconds"] = e.milliseconds;
        if (e.callback.rfind("forward_", 0) == 0)
            line["data"] = e.data;
        if (e.callback.find("_windows") != std::string::npos) {
            line["windows"] = Json::array();
            for (const WindowCopy &w : e.windows) line["windows"].push_back(json_window(w));
        }
        write(e.time, line);
    }
    void report(const Report &r) override
    {
        write(r.time, Json{{"report", {{"status", r.status}, {"path", r.path}, {"line", r.line}, {"message", r.message}}}});
    }

private:
    // One line per object, its media time first and always with three
    // decimals (the library would shorten 1.250 to 1.25).
    void write(double time, const Json &rest)
    {
        std::string body = rest.dump(-1, ' ', false, Json::error_handler_t::replace);
        std::fprintf(out_, "{\"time\":%.3f,%s\n", time, body.c_str() + 1);
    }
    FILE *out_;
};

// ---- screen ----------------------------------------------------------------

// Index 0-7 (red 4, green 2, blue 1) of the basic colour nearest a 6-bit
// RRGGBB value: a component counts when its high bit is set.
int colour_index(uint8_t rgb)
{
    return ((rgb >> 5) & 1) << 2 | ((rgb >> 3) & 1) << 1 | ((rgb >> 1) & 1);
}

const char *ansi_colour(uint8_t rgb)
{
    static const char *codes[8] = {"30", "34", "32", "36", "31", "35", "33", "37"};
    return codes[colour_index(rgb)];
}

class ScreenSink : public Sink {
public:
    ScreenSink(FILE *out, bool ansi, int columns) : out_(out), ansi_(ansi), columns_(columns) {}
    bool wants_events() const override { return false; }
    // A viewer sees only the last picture of each media time (a 708 line
    // arrives character by character within one packet), so a picture is
    // drawn once time moves on.
    void picture(double time, const std::vector<Line> &lines) override
    {
        if (pending_ && time > pending_time_)
            draw_pending();
        pending_ = true;
        pending_time_ = time;
        pending_lines_ = lines;
    }
    void finish(double) override
    {
        if (pending_)
            draw_pending();
    }

private:
    void draw_pending()
    {
        pending_ = false;
        if (drawn_any_ && same_picture(pending_lines_, drawn_))
            return;
        drawn_any_ = true;
        drawn_ = pending_lines_;
        draw(pending_time_, drawn_);
    }
    void draw(double time, const std::vector<Line> &lines)
    {
        std::fprintf(out_, "%s\n", timestamp(time, '.').c_str());
        std::string rule = "   +" + std::string((size_t)columns_, '-') + "+\n";
        std::fputs(rule.c_str(), out_);
        for (int row = 0; row < 15; row++) {
            bool any = std::any_of(lines.begin(), lines.end(), [row](const Line &l) { return l.screen_row == row; });
            if (!any)
                continue;
            std::fprintf(out_, "%2d |", row);
            draw_row(row, lines);
            std::fputs("|\n", out_);
        }
        std::fputs(rule.c_str(), out_);
    }
    void draw_row(int row, const std::vector<Line> &lines)
    {
        struct Cell {
            char16_t c = u' ';
            const PenStyle *pen = nullptr;
        };
        std::vector<Cell> cells((size_t)columns_);
        for (const Line &l : lines) {
            if (l.screen_row != row)
                continue;
            for (const SegmentCopy &r : l.runs) {
                int column = l.screen_column + r.column - l.runs.front().column;
                for (size_t i = 0; i < r.text.size(); i++) {
                    int c = column + (int)i;
                    if (c >= 0 && c < columns_)
                        cells[(size_t)c] = Cell{r.text[i], &r.pen};
                }
            }
        }
        std::string out;
        const PenStyle *current = nullptr;
        for (const Cell &cell : cells) {
            if (ansi_ && cell.pen != current) {
                out += "\x1b[0m";
                if (cell.pen) {
                    out += std::string("\x1b[") + ansi_colour(cell.pen->fg_color) + "m";
                    if (cell.pen->attributes & SOFTCC_PEN_ITALICS) out += "\x1b[3m";
                    if (cell.pen->attributes & SOFTCC_PEN_UNDERLINE) out += "\x1b[4m";
                }
                current = cell.pen;
            }
            out += utf8(displayed(std::u16string(1, cell.c)));
        }
        if (ansi_)
            out += "\x1b[0m";
        std::fputs(out.c_str(), out_);
    }

    FILE *out_;
    bool ansi_;
    int columns_;
    bool pending_ = false, drawn_any_ = false;
    double pending_time_ = 0;
    std::vector<Line> pending_lines_, drawn_;
};

// ---- vtt and srt -----------------------------------------------------------

// The eight caption colours by the high bit of each 2-bit component, so that
// the 608 table's half-intensity values (0x2A white, 0x20 red) and the 708
// full-intensity ones name the same class.  White is the default: no class.
const char *colour_class(uint8_t rgb)
{
    static const char *names[8] = {"black", "blue", "green", "cyan", "red", "magenta", "yellow", nullptr};
    return names[colour_index(rgb)];
}

std::string escape_cue(const std::string &s)
{
    std::string out;
    for (char c : s) {
        if (c == '&') out += "&amp;";
        else if (c == '<') out += "&lt;";
        else if (c == '>') out += "&gt;";
        else out += c;
    }
    return out;
}


// Blanks stay outside the style tags, so that no styled span is blank and the
// line's leading and trailing blanks can be cut; `cut` says how many leading
// columns went.  WebVTT text escapes & < > and carries colour classes;
// SubRip has neither entities nor classes, and players show its text as is.
std::string cue_text(const Cue &cue, bool vtt, int &cut)
{
    std::string out;
    int base = cue.runs.empty() ? 0 : cue.runs.front().column;
    int at = 0;
    for (const SegmentCopy &r : cue.runs) {
        if (r.column - base > at)
            out += std::string((size_t)(r.column - base - at), ' ');
        at = std::max(at, r.column - base) + (int)r.text.size();
        std::u16string text = displayed(r.text);
        size_t first = text.find_first_not_of(u' ');
        if (first == std::u16string::npos) {
            out += std::string(text.size(), ' ');
            continue;
        }
        size_t last = text.find_last_not_of(u' ');
        const char *cls = vtt ? colour_class(r.pen.fg_color) : nullptr;
        std::string open, close;
        if (cls) { open += std::string("<c.") + cls + ">"; close = "</c>" + close; }
        if (r.pen.attributes & SOFTCC_PEN_ITALICS) { open += "<i>"; close = "</i>" + close; }
        if (r.pen.attributes & SOFTCC_PEN_UNDERLINE) { open += "<u>"; close = "</u>" + close; }
        std::string words = utf8(text.substr(first, last + 1 - first));
        out += std::string(first, ' ') + open + (vtt ? escape_cue(words) : words) + close +
               std::string(text.size() - 1 - last, ' ');
    }
    size_t first = out.find_first_not_of(' ');
    if (first == std::string::npos)
        return std::string();
    cut = (int)first;
    return out.substr(first, out.find_last_not_of(' ') + 1 - first);
}

class CueSink : public Sink {
public:
    CueSink(FILE *out, bool vtt, int columns) : out_(out), vtt_(vtt), columns_(columns) {}
    bool wants_events() const override { return false; }
    void picture(double time, const std::vector<Line> &lines) override { builder_.picture(time, lines); }
    void finish(double end_time) override
    {
        std::vector<Cue> cues = builder_.finish(end_time);
        if (vtt_) {
            std::fputs("WEBVTT\n\nSTYLE\n", out_);
            const char *names[] = {"red", "green", "blue", "cyan", "magenta", "yellow", "black"};
            const char *rgb[] = {"#ff0000", "#00ff00", "#0000ff", "#00ffff", "#ff00ff", "#ffff00", "#000000"};
            for (int i = 0; i < 7; i++)
                std::fprintf(out_, "::cue(.%s) { color: %s; }\n", names[i], rgb[i]);
            std::fputs("\n", out_);
        }
        int number = 0;
        for (const Cue &c : cues) {
            int cut = 0;
            std::string text = cue_text(c, vtt_, cut);
            if (text.empty())
                continue;
            number++;
            if (vtt_) {
                int line = (int)std::lround(c.screen_row * 100.0 / 15 + 100.0 / 30);
                int position = (int)std::lround((c.screen_column + cut) * 100.0 / columns_);
                std::fprintf(out_, "%s --> %s line:%d%% position:%d%% align:start\n%s\n\n",
                             timestamp(c.start, '.').c_str(), timestamp(c.end, '.').c_str(), line,
                             std::clamp(position, 0, 100), text.c_str());
            } else {
                std::fprintf(out_, "%d\n%s --> %s\n%s\n\n", number, timestamp(c.start, ',').c_str(),
                             timestamp(c.end, ',').c_str(), text.c_str());
            }
        }
    }

private:
    FILE *out_;
    bool vtt_;
    int columns_;
    CueBuilder builder_;
};

}  // namespace

void CueBuilder::picture(double time, const std::vector<Line> &lines)
{
    std::vector<bool> kept(open_.size(), false);
    std::vector<Open> next;
    for (const Line &l : lines) {
        std::u16string text = l.text();
        if (blank(text))
            continue;
        // Same text in the same window continues its cue (a roll-up scroll moves it);
        // else a line on the same row that the new text extends (still being typed).
        int match = -1;
        for (size_t i = 0; i < open_.size() && match < 0; i++)
            if (!kept[i] && open_[i].window == l.window && open_[i].text == text)
                match = (int)i;
        for (size_t i = 0; i < open_.size() && match < 0; i++)
            if (!kept[i] && open_[i].window == l.window && open_[i].window_row == l.window_row &&
                text.compare(0, open_[i].text.size(), open_[i].text) == 0)
                match = (int)i;
        Open o;
        if (match >= 0) {
            kept[(size_t)match] = true;
            o = open_[(size_t)match];
        } else {
            o.cue.start = time;
        }
        o.window = l.window;
        o.window_row = l.window_row;
        o.text = text;
        o.cue.screen_row = l.screen_row;
        o.cue.screen_column = l.screen_column;
        o.cue.runs = l.runs;
        next.push_back(o);
    }
    for (size_t i = 0; i < open_.size(); i++) {
        if (kept[i])
            continue;
        open_[i].cue.end = time;
        if (open_[i].cue.end > open_[i].cue.start)
            done_.push_back(open_[i].cue);
    }
    open_ = next;
}

std::vector<Cue> CueBuilder::finish(double end_time)
{
    picture(end_time, {});
    std::stable_sort(done_.begin(), done_.end(), [](const Cue &a, const Cue &b) {
        return a.start < b.start || (a.start == b.start && a.screen_row < b.screen_row);
    });
    return done_;
}

std::unique_ptr<Sink> make_sink(const std::string &format, FILE *out, bool ansi, int grid_columns)
{
    if (format == "json")
        return std::make_unique<JsonSink>(out);
    if (format == "screen")
        return std::make_unique<ScreenSink>(out, ansi, grid_columns);
    if (format == "vtt" || format == "srt")
        return std::make_unique<CueSink>(out, format == "vtt", grid_columns);
    return nullptr;
}

}  // namespace softcc
