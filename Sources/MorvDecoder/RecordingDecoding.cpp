#include "MorvDecoder/Decoding.h"

#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <string_view>
#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/display.h>
#include <libavutil/pixdesc.h>
#include <libswscale/swscale.h>
}

namespace morv::decoder {

namespace {

/// Formats that are one file; a playlist names others. The last line: pictures that the image library does not read.
constexpr const char* formats =
    "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi,asf,flv,mpeg,mpegts,mpegvideo,m4v,mxf,rm,dv,nut,"
    "mp3,aac,ac3,eac3,dts,flac,ogg,wav,w64,aiff,caf,amr,ape,wv,tta,mpc,mpc8,dsf,au,voc,"
    "bmp_pipe,ico,psd_pipe,qoi_pipe,dds_pipe,pcx_pipe,sgi_pipe,sunrast_pipe,xbm_pipe,xpm_pipe";
constexpr int pieceSize = 64 << 10;
constexpr std::int64_t bytesToProbe = 4 << 20;
constexpr std::int64_t timeToProbe = 3LL * AV_TIME_BASE;
/// Titles and black stand at the beginning.
constexpr std::int64_t posterPart = 10;
constexpr std::int64_t latestPoster = 60LL * AV_TIME_BASE;
/// Of packets that are read for a frame; then the recording has none to show.
constexpr int patience = 2000;

struct Reader {
    int file;
    std::int64_t size;
    std::int64_t position = 0;
};

int readPiece(void* opaque, std::uint8_t* buffer, int length) {
    auto& reader = *static_cast<Reader*>(opaque);
    const auto count = ::pread(reader.file, buffer, static_cast<std::size_t>(length), reader.position);
    if (count < 0)
        return AVERROR(EIO);
    if (count == 0)
        return AVERROR_EOF;
    reader.position += count;
    return static_cast<int>(count);
}

std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
    auto& reader = *static_cast<Reader*>(opaque);
    switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
        return reader.size;
    case SEEK_CUR:
        offset += reader.position;
        break;
    case SEEK_END:
        offset += reader.size;
        break;
    default:
        break;
    }
    if (offset < 0)
        return AVERROR(EINVAL);
    return reader.position = offset;
}

/// What a recording refers to elsewhere is not looked for.
int openNothing(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) {
    return AVERROR(EACCES);
}

/// An opened recording with the stream of bytes beneath it.
class Recording {
public:
    explicit Recording(const Input& input) : reader_{input.file, input.size} {
        auto* buffer = static_cast<unsigned char*>(av_malloc(pieceSize));
        stream_ = avio_alloc_context(buffer, pieceSize, 0, &reader_, readPiece, nullptr, seek);
        context_ = avformat_alloc_context();
        context_->pb = stream_;
        context_->io_open = openNothing;
        context_->format_whitelist = av_strdup(formats);
        context_->protocol_whitelist = av_strdup("none");
        context_->probesize = bytesToProbe;
        context_->max_analyze_duration = timeToProbe;
        // Frees the context when it fails.
        if (avformat_open_input(&context_, nullptr, nullptr, nullptr) == 0)
            isKnown_ = avformat_find_stream_info(context_, nullptr) >= 0;
    }
    ~Recording() {
        avformat_close_input(&context_);
        av_freep(&stream_->buffer);
        avio_context_free(&stream_);
    }
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    bool isOpen() const { return context_ != nullptr; }
    bool isKnown() const { return isKnown_; }
    AVFormatContext& context() const { return *context_; }
    bool isStill() const {
        const std::string_view name = context_->iformat->name;
        return name.ends_with("_pipe") || name == "ico";
    }
    AVStream* best(AVMediaType type) const {
        const int index = av_find_best_stream(context_, type, -1, -1, nullptr, 0);
        return index < 0 ? nullptr : context_->streams[index];
    }
    const char* tag(const char* name) const {
        const auto* found = av_dict_get(context_->metadata, name, nullptr, 0);
        // Ogg keeps them with the stream.
        for (unsigned i = 0; !found && i < context_->nb_streams; ++i)
            found = av_dict_get(context_->streams[i]->metadata, name, nullptr, 0);
        return found ? found->value : nullptr;
    }

private:
    Reader reader_;
    AVIOContext* stream_ = nullptr;
    AVFormatContext* context_ = nullptr;
    bool isKnown_ = false;
};

struct CodecRelease {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
};
struct FrameRelease {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
struct PacketRelease {
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
struct ScalerRelease {
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
};
using Codec = std::unique_ptr<AVCodecContext, CodecRelease>;
using Frame = std::unique_ptr<AVFrame, FrameRelease>;
using Packet = std::unique_ptr<AVPacket, PacketRelease>;
using Scaler = std::unique_ptr<SwsContext, ScalerRelease>;

Codec openCodec(const AVStream& stream) {
    const auto* decoder = avcodec_find_decoder(stream.codecpar->codec_id);
    Codec codec(decoder ? avcodec_alloc_context3(decoder) : nullptr);
    if (!codec || avcodec_parameters_to_context(codec.get(), stream.codecpar) < 0)
        return nullptr;
    codec->thread_count = 1;
    codec->skip_frame = AVDISCARD_NONKEY;
    codec->max_pixels = mostPixels;
    codec->pkt_timebase = stream.time_base;
    return avcodec_open2(codec.get(), decoder, nullptr) == 0 ? std::move(codec) : nullptr;
}

/// The next whole frame from where the recording stands.
Frame nextFrame(const Recording& recording, const AVStream& stream) {
    const auto codec = openCodec(stream);
    if (!codec)
        return nullptr;
    Frame frame(av_frame_alloc());
    const Packet packet(av_packet_alloc());
    for (int i = 0; i < patience; ++i) {
        const bool isOver = av_read_frame(&recording.context(), packet.get()) < 0;
        if (isOver || packet->stream_index == stream.index)
            avcodec_send_packet(codec.get(), isOver ? nullptr : packet.get());
        av_packet_unref(packet.get());
        if (avcodec_receive_frame(codec.get(), frame.get()) == 0)
            return frame;
        if (isOver)
            break;
    }
    return nullptr;
}

Frame posterFrame(const Recording& recording, const AVStream& stream) {
    const auto duration = recording.context().duration;
    if (duration > 0 && !recording.isStill()) {
        const auto moment = std::min(duration / posterPart, latestPoster);
        const auto start = recording.context().start_time;
        if (av_seek_frame(&recording.context(), -1, (start > 0 ? start : 0) + moment, AVSEEK_FLAG_BACKWARD) >=
            0)
            if (auto frame = nextFrame(recording, stream))
                return frame;
        av_seek_frame(&recording.context(), -1, 0, AVSEEK_FLAG_BACKWARD);
    }
    return nextFrame(recording, stream);
}

/// Clockwise quarter turns to apply.
int quarterTurns(const AVStream& stream) {
    const auto* matrix = reinterpret_cast<const std::int32_t*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
    if (!matrix)
        return 0;
    const double degrees = av_display_rotation_get(matrix);
    return std::isnan(degrees) ? 0 : ((static_cast<int>(std::lround(-degrees / 90)) % 4) + 4) % 4;
}

/// `pixels` of `size`, turned clockwise; gives the new size.
Size turn(std::span<std::byte> pixels, Size size, int quarters) {
    const Size turned = quarters % 2 == 0 ? size : Size{size.height, size.width};
    const std::vector<std::byte> before(pixels.begin(), pixels.end());
    for (int y = 0; y < size.height; ++y) {
        for (int x = 0; x < size.width; ++x) {
            const int column = quarters == 1 ? size.height - 1 - y : quarters == 2 ? size.width - 1 - x : y;
            const int row = quarters == 1 ? x : quarters == 2 ? size.height - 1 - y : size.width - 1 - x;
            const auto from = static_cast<std::size_t>(y * size.width + x) * bytesPerPixel;
            const auto to = static_cast<std::size_t>(row * turned.width + column) * bytesPerPixel;
            std::memcpy(&pixels[to], &before[from], bytesPerPixel);
        }
    }
    return turned;
}

/// As it is shown: with pixels made square, and turned.
Size shownSize(const AVStream& stream, const AVFrame* frame) {
    auto ratio = stream.sample_aspect_ratio;
    if (frame && frame->sample_aspect_ratio.num > 0)
        ratio = frame->sample_aspect_ratio;
    double width = frame ? frame->width : stream.codecpar->width;
    const int height = frame ? frame->height : stream.codecpar->height;
    if (ratio.num > 0 && ratio.den > 0)
        width = std::clamp(width * av_q2d(ratio), 1.0, 1e6);
    return {static_cast<int>(std::lround(width)), height};
}

void draw(const AVFrame& frame, Size shown, int quarters, Canvas canvas, Decoded& result) {
    checkSize(shown.width, shown.height);
    auto size = fitted(shown.width, shown.height, std::min(canvas.side, std::max(shown.width, shown.height)));
    const auto format = static_cast<AVPixelFormat>(frame.format);
    const Scaler scaler(sws_getContext(frame.width, frame.height, format, size.width, size.height,
                                       AV_PIX_FMT_BGRA, SWS_AREA, nullptr, nullptr, nullptr));
    if (!scaler)
        throw Refusal(DecoderRefusal::damaged);
    std::uint8_t* const planes[] = {reinterpret_cast<std::uint8_t*>(canvas.bytes.data())};
    const int strides[] = {size.width * static_cast<int>(bytesPerPixel)};
    const auto pixels =
        canvas.bytes.first(static_cast<std::size_t>(strides[0]) * static_cast<std::size_t>(size.height));
    sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, planes, strides);
    const auto* described = av_pix_fmt_desc_get(format);
    if (described && (described->flags & (AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_PAL)) != 0)
        premultiply(pixels);
    if (quarters != 0)
        size = turn(pixels, size, quarters);
    result.picture = size;
}

std::string duration(std::int64_t microseconds) {
    const auto seconds = (microseconds + AV_TIME_BASE / 2) / AV_TIME_BASE;
    if (seconds >= 3600)
        return fmt::format("{}:{:02}:{:02}", seconds / 3600, seconds / 60 % 60, seconds % 60);
    return fmt::format("{}:{:02}", seconds / 60, seconds % 60);
}

std::string codecName(const AVStream& stream) {
    const auto* descriptor = avcodec_descriptor_get(stream.codecpar->codec_id);
    if (!descriptor)
        return {};
    const std::string_view name = descriptor->long_name ? descriptor->long_name : descriptor->name;
    // "H.264 / AVC / MPEG-4 AVC / MPEG-4 part 10" and "FLAC (Free Lossless Audio Codec)": the first is enough.
    return std::string(name.substr(0, std::min(name.find(" / "), name.find(" ("))));
}

std::string channels(int count) {
    return count == 1 ? "Mono" : count == 2 ? "Stereo" : std::to_string(count);
}

void describe(const Recording& recording, const AVStream* video, const AVStream* audio, Decoded& result) {
    const auto& context = recording.context();
    if (video)
        result.add("Dimensions", sizeText(result.natural));
    if (recording.isStill())
        return;
    for (const auto& [title, tag] :
         {std::pair{"Title", "title"}, {"Artist", "artist"}, {"Album", "album"}, {"Year", "date"}})
        result.add(title, recording.tag(tag));
    if (context.duration > 0)
        result.add("Duration", duration(context.duration));
    if (video) {
        result.add("Video", codecName(*video));
        if (const auto rate = video->avg_frame_rate; rate.num > 0 && rate.den > 0)
            result.add("Frame rate", fmt::format("{:.4g} per second", av_q2d(rate)));
    }
    if (audio) {
        result.add("Audio", codecName(*audio));
        if (audio->codecpar->sample_rate > 0)
            result.add("Sample rate", fmt::format("{:.4g} kHz", audio->codecpar->sample_rate / 1000.0));
        if (const int count = audio->codecpar->ch_layout.nb_channels; count > 0)
            result.add("Channels", channels(count));
    }
    if (context.bit_rate > 0)
        result.add("Bit rate", fmt::format("{} kbit/s", (context.bit_rate + 500) / 1000));
}

/// The cover is a picture like any other; one that cannot be shown costs the facts nothing.
void drawCover(const AVStream& stream, Canvas canvas, Decoded& result) {
    const auto& packet = stream.attached_pic;
    if (packet.size <= 0)
        return;
    try {
        const auto cover =
            decodeImage(std::as_bytes(std::span(packet.data, static_cast<std::size_t>(packet.size))), canvas);
        if (cover)
            result.picture = cover->picture;
    } catch (const Refusal&) {
    }
}

} // namespace

std::optional<Decoded> decodeRecording(const Input& input, Canvas canvas) {
    av_log_set_level(AV_LOG_QUIET);
    const Recording recording(input);
    if (!recording.isOpen())
        return std::nullopt;
    if (!recording.isKnown() || recording.context().nb_streams == 0)
        throw Refusal(DecoderRefusal::damaged);
    const auto* video = recording.best(AVMEDIA_TYPE_VIDEO);
    const auto* audio = recording.best(AVMEDIA_TYPE_AUDIO);
    const bool isCover = video && (video->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    Decoded result;
    if (isCover) {
        drawCover(*video, canvas, result);
        video = nullptr;
    }
    // A stream that never says how large it is has nothing to show; what is heard may be whole.
    if (video && audio && video->codecpar->width <= 0)
        video = nullptr;
    if (!video && !audio)
        throw Refusal(DecoderRefusal::unknown);
    if (video) {
        checkSize(video->codecpar->width, video->codecpar->height);
        const auto frame = posterFrame(recording, *video);
        const auto shown = shownSize(*video, frame.get());
        const int quarters = quarterTurns(*video);
        result.natural = quarters % 2 == 0 ? shown : Size{shown.height, shown.width};
        if (frame)
            draw(*frame, shown, quarters, canvas, result);
        else if (!audio)
            throw Refusal(DecoderRefusal::damaged);
    }
    describe(recording, video, audio, result);
    return result;
}

} // namespace morv::decoder
