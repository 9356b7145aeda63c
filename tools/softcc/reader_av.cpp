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
    double time = 0;            // presentation time in seconds
    size_t number = 0;          // packet of its stream, 1-based, in decode order
    std::vector<uint8_t> cc;    // cc_data triplets
};

struct Source {
    Carrier carrier = Carrier::None;
    int length_size = 0;  // NAL length size of MP4 and Matroska video, 0 for start codes
    size_t packets = 0;
    double last_time = 0;
};

Position where(size_t packet, double seconds) { return Position{"packet", packet, seconds}; }

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

// Puts the frames of the chosen streams into presentation order on the way
// to the cc_data stage: cc_data travels in decode order, and a picture is
// shown at most a few dozen frames after it is decoded.  Media time counts
// from the first frame shown; where the time stamps jump back (a stream cut
// and joined, a wrap) it goes on from the frame before.
class Presenter {
public:
    Presenter(CcStage &stage, bool spread) : stage_(stage), spread_(spread) {}

    void add(Frame frame, double frame_seconds)
    {
        if (any_ && frame.time < last_raw_ - 1.0) {
            flush();
            shift_ = last_raw_ + shift_ + frame_seconds - frame.time;
        }
        any_ = true;
        last_raw_ = frame.time;
        frame.time += shift_;
        auto at = std::upper_bound(window_.begin(), window_.end(), frame.time,
                                   [](double t, const Frame &f) { return t < f.time; });
        window_.insert(at, std::move(frame));
        if (window_.size() > kDepth) {
            emit(window_.front());
            window_.erase(window_.begin());
        }
    }
    // The media time of a raw time stamp, for warnings.
    double media_time(double raw) const { return raw + shift_ - (started_ ? origin_ : window_.empty() ? raw + shift_ : window_.front().time); }
    void finish()
    {
        flush();
        stage_.finish(last_time_, where(last_number_, last_time_), "stream");
    }

private:
    static constexpr size_t kDepth = 32;

    void flush()
    {
        for (const Frame &f : window_) emit(f);
        window_.clear();
    }
    void emit(const Frame &f)
    {
        if (!started_)
            origin_ = f.time;
        started_ = true;
        last_time_ = f.time - origin_;
        last_number_ = f.number;
        if (f.cc.empty())
            return;
        if (!spread_) {
            stage_.triplets(last_time_, f.cc.data(), f.cc.size() / 3, where(f.number, last_time_));
            return;
        }
        // A caption track's sample may hold the pairs of many video frames;
        // they go out as line 21 sends them, one pair of each field (cc_type
        // 0 and 1) per frame at 29.97 fps from the sample's time.  DTVCC
        // bytes stay with the sample's first pairs, in order.
        std::vector<std::vector<uint8_t>> frames;
        size_t count[2] = {0, 0};
        for (size_t i = 0; i + 2 < f.cc.size(); i += 3) {
            size_t type = f.cc[i] & 3, k = type < 2 ? count[type]++ : 0;
            frames.resize(std::max(frames.size(), k + 1));
            frames[k].insert(frames[k].end(), f.cc.begin() + (long)i, f.cc.begin() + (long)i + 3);
        }
        for (size_t k = 0; k < frames.size(); k++) {
            double time = last_time_ + (double)k * 1001 / 30000;
            stage_.triplets(time, frames[k].data(), frames[k].size() / 3, where(f.number, time));
        }
    }

    CcStage &stage_;
    bool spread_;
    std::vector<Frame> window_;  // by presentation time
    bool any_ = false, started_ = false;
    double last_raw_ = 0, shift_ = 0, origin_ = 0, last_time_ = 0;
    size_t last_number_ = 0;
};

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
    bool tracks_only = std::all_of(sources.begin(), sources.end(), [](const Source &s) {
        return s.carrier == Carrier::None || s.carrier == Carrier::QuickTime;
    });
    CcStage stage(out);
    Presenter presenter(stage, tracks_only);
    size_t reported = complaints.size(), packets = 0;
    double last = 0;
    while ((status = av_read_frame(d.format, d.packet)) >= 0) {
        choose_sources(d.format, sources);
        AVPacket *p = d.packet;
        Source &s = sources[(size_t)p->stream_index];
        if (s.carrier != Carrier::None) {
            AVStream *st = d.format->streams[p->stream_index];
            double base = av_q2d(st->time_base);
            double frame_seconds = p->duration > 0 ? p->duration * base : 1001.0 / 30000;
            int64_t ts = p->pts != AV_NOPTS_VALUE ? p->pts : p->dts;
            // A packet without a time follows the one before it.
            double time = ts != AV_NOPTS_VALUE ? ts * base : s.last_time + frame_seconds;
            s.last_time = time;
            Frame frame{time, ++s.packets, {}};
            packets++;
            std::string damage = extract(s, p->data, (size_t)p->size, frame.cc);
            presenter.add(std::move(frame), frame_seconds);
            last = presenter.media_time(time);
            Position at = where(s.packets, last);
            if (!damage.empty())
                out.warn(at, damage);
            if (p->flags & AV_PKT_FLAG_CORRUPT)
                out.warn(at, "the container marks this packet damaged");
            for (; reported < complaints.size(); reported++) out.warn(at, complaints[reported]);
        }
        av_packet_unref(p);
    }
    g_complaints = nullptr;
    Position end = where(packets, last);
    if (status != AVERROR_EOF)
        out.warn(end, "reading stopped: " + av_error(status));
    for (; reported < complaints.size(); reported++) out.warn(end, complaints[reported]);
    // The transport stream reader takes a packet cut by the end of the file in silence.
    int64_t size = in.position();
    if (!std::strcmp(d.format->iformat->name, "mpegts") && size % 188 && size % 192 && size % 204)
        out.warn(end, "the stream ends inside a transport packet: the file is cut short");
    presenter.finish();
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
