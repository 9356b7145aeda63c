#include "reader_av.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "cc_data.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

namespace softcc {
namespace {

// How a stream carries captions.
enum class Carrier { None, H264, Hevc, Mpeg2, QuickTime };

const char *carrier_name(Carrier c)
{
    static const char *names[] = {"", "H.264 SEI", "HEVC SEI", "MPEG-2 user data", "QuickTime caption track"};
    return names[(int)c];
}

Carrier carrier_of(const AVCodecParameters *p)
{
    switch (p->codec_id) {
    case AV_CODEC_ID_H264: return Carrier::H264;
    case AV_CODEC_ID_HEVC: return Carrier::Hevc;
    case AV_CODEC_ID_MPEG2VIDEO:
    case AV_CODEC_ID_MPEG1VIDEO: return Carrier::Mpeg2;
    case AV_CODEC_ID_EIA_608: return Carrier::QuickTime;  // c608
    default: return p->codec_tag == MKTAG('c', '7', '0', '8') ? Carrier::QuickTime : Carrier::None;
    }
}

// ---- libavformat reading from an Input ---------------------------------------

int read_input(void *opaque, uint8_t *buffer, int size)
{
    Input *in = static_cast<Input *>(opaque);
    size_t n = in->read(buffer, (size_t)size);
    if (n == 0)
        return in->failed() ? AVERROR(EIO) : AVERROR_EOF;
    return (int)n;
}

int64_t seek_input(void *opaque, int64_t offset, int whence)
{
    Input *in = static_cast<Input *>(opaque);
    if (whence & AVSEEK_SIZE)
        return in->size();
    whence &= ~AVSEEK_FORCE;
    int64_t target = whence == SEEK_SET ? offset
                     : whence == SEEK_CUR ? in->position() + offset
                     : whence == SEEK_END && in->size() >= 0 ? in->size() + offset
                                                             : -1;
    return target >= 0 && in->seek(target) ? target : -1;
}

// libavformat's own complaints about the input become warnings at the packet
// being read; the log has no user pointer, so it goes to the reader running.
std::vector<std::string> *g_complaints = nullptr;

void log_complaint(void *, int level, const char *format, va_list args)
{
    static std::string pending;  // a line comes in pieces
    if (level > AV_LOG_WARNING || !g_complaints)
        return;
    char piece[256];
    std::vsnprintf(piece, sizeof piece, format, args);
    pending += piece;
    if (pending.empty() || pending.back() != '\n')
        return;
    while (!pending.empty() && (pending.back() == '\n' || pending.back() == ' ' || pending.back() == '.'))
        pending.pop_back();
    // A corrupt packet is reported from its flag, with its position.
    if (!pending.empty() && pending.rfind("Packet corrupt", 0) != 0 && g_complaints->size() < 100)
        g_complaints->push_back(pending);
    pending.clear();
}

std::string av_error(int code)
{
    char buffer[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, buffer, sizeof buffer);
    return buffer;
}

// The input as libavformat sees it, closed and freed on every path out.
struct Demuxer {
    AVFormatContext *format = nullptr;
    AVIOContext *io = nullptr;
    AVPacket *packet = nullptr;

    ~Demuxer()
    {
        avformat_close_input(&format);
        if (io)
            av_freep(&io->buffer);
        avio_context_free(&io);
        av_packet_free(&packet);
    }
    int open(Input &in)
    {
        constexpr int kBuffer = 1 << 16;
        auto *buffer = static_cast<unsigned char *>(av_malloc(kBuffer));
        io = avio_alloc_context(buffer, kBuffer, 0, &in, read_input, nullptr, in.seekable() ? seek_input : nullptr);
        format = avformat_alloc_context();
        packet = av_packet_alloc();
        if (!buffer || !io || !format || !packet)
            return AVERROR(ENOMEM);
        format->pb = io;
        return avformat_open_input(&format, nullptr, nullptr, nullptr);
    }
};

// ---- caption frames ------------------------------------------------------------

struct Frame {
    double time = 0;            // presentation time in seconds, before the origin is taken off
    size_t number = 0;          // packet of its stream, 1-based, in decode order
    std::vector<uint8_t> cc;    // cc_data triplets
};

struct Source {
    Carrier carrier = Carrier::None;
    int length_size = 0;  // NAL length size of MP4 and Matroska video, 0 for start codes
    size_t packets = 0;
    double last_time = 0;
};

std::string where(size_t packet, double seconds)
{
    char buffer[64];
    long long ms = (long long)(seconds * 1000 + 0.5);
    std::snprintf(buffer, sizeof buffer, "packet %zu (%02lld:%02lld:%02lld.%03lld)", packet, ms / 3600000,
                  ms / 60000 % 60, ms / 1000 % 60, ms % 1000);
    return buffer;
}

std::string extract(const Source &s, const uint8_t *data, size_t n, std::vector<uint8_t> &cc)
{
    switch (s.carrier) {
    case Carrier::H264: return sei_triplets(VideoCodec::H264, data, n, s.length_size, cc);
    case Carrier::Hevc: return sei_triplets(VideoCodec::Hevc, data, n, s.length_size, cc);
    case Carrier::Mpeg2: return mpeg2_triplets(data, n, cc);
    case Carrier::QuickTime:
        // libavformat's MP4 reader may hand a c608 sample over as triplets already.
        if (n >= 8 && (!std::memcmp(data + 4, "cdat", 4) || !std::memcmp(data + 4, "cdt2", 4) ||
                       !std::memcmp(data + 4, "ccdp", 4)))
            return quicktime_triplets(data, n, cc);
        cc.insert(cc.end(), data, data + n / 3 * 3);
        return "";
    default: return "";
    }
}

// Chooses the streams to read: the caption tracks when there are any (the
// video's own captions would repeat them), else the first video stream of a
// codec that carries cc_data.  Streams that appear later (MPEG-PS) join by
// the same rule.  Every other stream is discarded unread.
void choose_sources(AVFormatContext *f, std::vector<Source> &sources)
{
    bool have_track = false, have_video = false;
    for (const Source &s : sources) {
        have_track |= s.carrier == Carrier::QuickTime;
        have_video |= s.carrier != Carrier::None && s.carrier != Carrier::QuickTime;
    }
    for (unsigned i = 0; i < f->nb_streams; i++)
        have_track |= i >= sources.size() && carrier_of(f->streams[i]->codecpar) == Carrier::QuickTime;
    for (unsigned i = (unsigned)sources.size(); i < f->nb_streams; i++) {
        AVStream *st = f->streams[i];
        Source s;
        s.carrier = carrier_of(st->codecpar);
        bool take = s.carrier == Carrier::QuickTime || (!have_track && !have_video && s.carrier != Carrier::None);
        if (!take) {
            s.carrier = Carrier::None;
            st->discard = AVDISCARD_ALL;
        }
        have_video |= take && s.carrier != Carrier::QuickTime;
        if (s.carrier == Carrier::H264 || s.carrier == Carrier::Hevc)
            s.length_size = nal_length_size(s.carrier == Carrier::H264 ? VideoCodec::H264 : VideoCodec::Hevc,
                                            st->codecpar->extradata, (size_t)st->codecpar->extradata_size);
        sources.push_back(s);
    }
}

// A caption track's sample may hold the pairs of many video frames; they go
// out as line 21 sends them, one pair of each field per frame at 29.97 fps
// from the sample's time.  (Field 1 pairs of cc_type 0, field 2 of 1.)
std::vector<Frame> pairs_per_frame(const std::vector<Frame> &samples)
{
    std::vector<Frame> frames;
    for (const Frame &sample : samples) {
        size_t first = frames.size(), count[2] = {0, 0};
        for (size_t i = 0; i + 2 < sample.cc.size(); i += 3) {
            // DTVCC bytes stay together with the sample's first pairs, in order.
            size_t type = sample.cc[i] & 3, k = type < 2 ? first + count[type]++ : first;
            if (k == frames.size())
                frames.push_back(Frame{sample.time + (double)(k - first) * 1001 / 30000, sample.number, {}});
            frames[k].cc.insert(frames[k].cc.end(), sample.cc.begin() + (long)i, sample.cc.begin() + (long)i + 3);
        }
    }
    return frames;
}

bool probe_av(Input &in)
{
    const std::vector<uint8_t> &head = in.head();
    std::vector<uint8_t> padded(head.size() + AVPROBE_PADDING_SIZE, 0);
    std::copy(head.begin(), head.end(), padded.begin());
    AVProbeData probe{};
    probe.filename = "";
    probe.buf = padded.data();
    probe.buf_size = (int)head.size();
    int score = 0;
    const AVInputFormat *f = av_probe_input_format2(&probe, 1, &score);
    return f && score > AVPROBE_SCORE_RETRY;
}

bool read_av(Input &in, Stream &out, std::string &error)
{
    const std::vector<uint8_t> &head = in.head(1 << 20);  // where a transport stream's tables are
    std::map<std::string, std::string> languages = ts_caption_languages(head.data(), head.size());
    in.seek(0);
    std::vector<std::string> complaints;
    g_complaints = &complaints;
    av_log_set_callback(log_complaint);
    Demuxer d;
    int status = d.open(in);
    if (status < 0) {
        g_complaints = nullptr;
        error = "not a media file libavformat reads (" + av_error(status) + ")";
        return false;
    }
    out.languages = languages;
    std::vector<Source> sources;
    choose_sources(d.format, sources);
    std::vector<Frame> frames;
    double origin = 0;
    bool any_time = false;
    size_t reported = complaints.size();
    while ((status = av_read_frame(d.format, d.packet)) >= 0) {
        choose_sources(d.format, sources);
        AVPacket *p = d.packet;
        Source &s = sources[(size_t)p->stream_index];
        if (s.carrier != Carrier::None) {
            AVRational base = d.format->streams[p->stream_index]->time_base;
            int64_t ts = p->pts != AV_NOPTS_VALUE ? p->pts : p->dts;
            // A packet without a time follows the one before it.
            double time = ts != AV_NOPTS_VALUE ? ts * av_q2d(base) : s.last_time + std::max<int64_t>(p->duration, 0) * av_q2d(base);
            s.last_time = time;
            origin = any_time ? std::min(origin, time) : time;
            any_time = true;
            Frame frame{time, ++s.packets, {}};
            std::string damage = extract(s, p->data, (size_t)p->size, frame.cc);
            std::string at = where(frame.number, time - origin);
            if (!damage.empty())
                out.warn(at, damage);
            if (p->flags & AV_PKT_FLAG_CORRUPT)
                out.warn(at, "the container marks this packet damaged");
            for (; reported < complaints.size(); reported++) out.warn(at, complaints[reported]);
            if (!frame.cc.empty())
                frames.push_back(std::move(frame));
        }
        av_packet_unref(p);
    }
    g_complaints = nullptr;
    size_t packets = 0;
    for (const Source &s : sources) packets += s.packets;
    double last = 0;
    for (const Source &s : sources) last = std::max(last, s.last_time - origin);
    std::string end = where(packets, last);
    if (status != AVERROR_EOF)
        out.warn(end, "reading stopped: " + av_error(status));
    for (; reported < complaints.size(); reported++) out.warn(end, complaints[reported]);
    // The transport stream reader takes a packet cut by the end of the file in silence.
    int64_t size = in.position();
    if (!std::strcmp(d.format->iformat->name, "mpegts") && size % 188 && size % 192 && size % 204)
        out.warn(end, "the stream ends inside a transport packet: the file is cut short");

    // cc_data travels in decode order; the decoder needs it in the order the
    // pictures are shown, at their times from the first one shown.
    std::stable_sort(frames.begin(), frames.end(), [](const Frame &a, const Frame &b) { return a.time < b.time; });
    bool tracks_only = std::all_of(sources.begin(), sources.end(), [](const Source &s) {
        return s.carrier == Carrier::None || s.carrier == Carrier::QuickTime;
    });
    if (tracks_only)
        frames = pairs_per_frame(frames);
    CcStage stage(out);
    for (const Frame &f : frames)
        stage.triplets(f.time - origin, f.cc.data(), f.cc.size() / 3, where(f.number, f.time - origin));
    if (!frames.empty())
        stage.finish(frames.back().time - origin, where(frames.back().number, frames.back().time - origin), "stream");
    out.carrier = d.format->iformat->long_name ? d.format->iformat->long_name : d.format->iformat->name;
    for (const Source &s : sources)
        if (s.carrier != Carrier::None) {
            out.carrier += std::string(", ") + carrier_name(s.carrier);
            break;
        }
    return true;
}

}  // namespace

Reader av_reader() { return Reader{"container", "", probe_av, read_av}; }

std::string av_version() { return std::string("libavformat ") + AV_STRINGIFY(LIBAVFORMAT_VERSION); }

}  // namespace softcc
