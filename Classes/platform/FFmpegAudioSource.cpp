#include "FFmpegAudioSource.h"

#include <QFile>
#include <algorithm>
#include <cerrno>
#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
}

namespace {

// Demuxers of the platform's own file types. Anything else is left to the
// FFmpeg decoder, which the factory tries when this reader refuses a file.
const char* const kPlatformDemuxers[] = {
    "mov,mp4,m4a,3gp,3g2,mj2",
    "aac",
    "mp3",
    "amr",
    "amrnb",
    "amrwb",
    "ac3",
    "eac3",
    "caf",
    "aiff",
    "wav",
    "w64",
    "au",
};

// Bits per sample that the codec parameters carry for lossless codecs.
constexpr int kBitsFromStream = -1;

struct CodecRow
{
    AVCodecID codec;
    uint32_t formatID;
    uint32_t formatFlags;
    int bitsPerSample; // 0 for lossy codecs
};

constexpr uint32_t kSignedPacked = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
constexpr uint32_t kSignedPackedBig = kSignedPacked | kAudioFormatFlagIsBigEndian;
constexpr uint32_t kFloatPacked = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
constexpr uint32_t kFloatPackedBig = kFloatPacked | kAudioFormatFlagIsBigEndian;

const CodecRow kCodecs[] = {
    {AV_CODEC_ID_AAC, kAudioFormatMPEG4AAC, 0, 0},
    {AV_CODEC_ID_AAC_LATM, kAudioFormatMPEG4AAC, 0, 0},
    {AV_CODEC_ID_ALAC, kAudioFormatAppleLossless, 0, 0},
    {AV_CODEC_ID_MP1, kAudioFormatMPEGLayer1, 0, 0},
    {AV_CODEC_ID_MP2, kAudioFormatMPEGLayer2, 0, 0},
    {AV_CODEC_ID_MP3, kAudioFormatMPEGLayer3, 0, 0},
    {AV_CODEC_ID_AMR_NB, fourCC("samr"), 0, 0},
    {AV_CODEC_ID_AMR_WB, fourCC("sawb"), 0, 0},
    {AV_CODEC_ID_AC3, fourCC("ac-3"), 0, 0},
    {AV_CODEC_ID_EAC3, fourCC("ec-3"), 0, 0},
    {AV_CODEC_ID_OPUS, fourCC("opus"), 0, 0},
    {AV_CODEC_ID_FLAC, fourCC("flac"), 0, kBitsFromStream},
    {AV_CODEC_ID_ADPCM_IMA_QT, fourCC("ima4"), 0, 0},
    {AV_CODEC_ID_QDM2, fourCC("QDM2"), 0, 0},
    {AV_CODEC_ID_QDMC, fourCC("QDMC"), 0, 0},
    {AV_CODEC_ID_MACE3, fourCC("MAC3"), 0, 0},
    {AV_CODEC_ID_MACE6, fourCC("MAC6"), 0, 0},
    {AV_CODEC_ID_ILBC, fourCC("ilbc"), 0, 0},
    {AV_CODEC_ID_GSM_MS, 0x6D730031, 0, 0},
    {AV_CODEC_ID_PCM_ALAW, kAudioFormatALaw, 0, 0},
    {AV_CODEC_ID_PCM_MULAW, kAudioFormatULaw, 0, 0},
    {AV_CODEC_ID_PCM_U8, kAudioFormatLinearPCM, kAudioFormatFlagIsPacked, 8},
    {AV_CODEC_ID_PCM_S8, kAudioFormatLinearPCM, kSignedPacked, 8},
    {AV_CODEC_ID_PCM_S16LE, kAudioFormatLinearPCM, kSignedPacked, 16},
    {AV_CODEC_ID_PCM_S16BE, kAudioFormatLinearPCM, kSignedPackedBig, 16},
    {AV_CODEC_ID_PCM_S24LE, kAudioFormatLinearPCM, kSignedPacked, 24},
    {AV_CODEC_ID_PCM_S24BE, kAudioFormatLinearPCM, kSignedPackedBig, 24},
    {AV_CODEC_ID_PCM_S32LE, kAudioFormatLinearPCM, kSignedPacked, 32},
    {AV_CODEC_ID_PCM_S32BE, kAudioFormatLinearPCM, kSignedPackedBig, 32},
    {AV_CODEC_ID_PCM_F32LE, kAudioFormatLinearPCM, kFloatPacked, 32},
    {AV_CODEC_ID_PCM_F32BE, kAudioFormatLinearPCM, kFloatPackedBig, 32},
    {AV_CODEC_ID_PCM_F64LE, kAudioFormatLinearPCM, kFloatPacked, 64},
    {AV_CODEC_ID_PCM_F64BE, kAudioFormatLinearPCM, kFloatPackedBig, 64},
};

const CodecRow* codecRow(AVCodecID codec)
{
    for (const CodecRow& row : kCodecs) {
        if (row.codec == codec) {
            return &row;
        }
    }
    return nullptr;
}

bool isPlatformDemuxer(const AVInputFormat* format)
{
    return std::any_of(std::begin(kPlatformDemuxers), std::end(kPlatformDemuxers),
                       [format](const char* name) { return std::strcmp(format->name, name) == 0; });
}

// The source depth of an ALAC stream, from its magic cookie: either the bare
// 24-byte configuration or the whole 'alac' atom that MP4 files carry.
int alacBitDepth(const AVCodecParameters* parameters)
{
    const uint8_t* data = parameters->extradata;
    const int size = parameters->extradata_size;
    if (data && size >= 36 && std::memcmp(data + 4, "alac", 4) == 0) {
        return data[17];
    }
    if (data && size >= 24) {
        return data[5];
    }
    return parameters->bits_per_raw_sample;
}

uint32_t alacDepthFlag(int bits)
{
    switch (bits) {
    case 20:
        return kAppleLosslessFormatFlag_20BitSourceData;
    case 24:
        return kAppleLosslessFormatFlag_24BitSourceData;
    case 32:
        return kAppleLosslessFormatFlag_32BitSourceData;
    default:
        return kAppleLosslessFormatFlag_16BitSourceData;
    }
}

OSStatus statusOfOpenError(int error)
{
    if (error == AVERROR(ENOENT)) {
        return fnfErr;
    }
    if (error == AVERROR(EACCES)) {
        return kAudioFilePermissionsError;
    }
    return kAudioFileUnsupportedFileTypeError;
}

// A layout whose order libswresample can remix from: the stream's own when
// it names its speakers, the default one for its channel count otherwise.
void usableLayout(const AVChannelLayout& from, AVChannelLayout& to)
{
    ff::av_channel_layout_uninit(&to);
    if (from.order == AV_CHANNEL_ORDER_NATIVE && from.nb_channels > 0) {
        ff::av_channel_layout_copy(&to, &from);
    } else {
        ff::av_channel_layout_default(&to, from.nb_channels);
    }
}

} // namespace

FFmpegAudioSource::~FFmpegAudioSource()
{
    ff::av_channel_layout_uninit(&m_converterLayout);
    ff::av_channel_layout_uninit(&m_outputLayout);
}

std::unique_ptr<FFmpegAudioSource> FFmpegAudioSource::open(const QString& path, OSStatus& status)
{
    return openAccepting(path, nullptr, status);
}

std::unique_ptr<FFmpegAudioSource> FFmpegAudioSource::openWithDemuxer(const QString& path,
                                                                      const char* demuxer, OSStatus& status)
{
    return openAccepting(path, demuxer, status);
}

std::unique_ptr<FFmpegAudioSource> FFmpegAudioSource::openAccepting(const QString& path, const char* demuxer,
                                                                    OSStatus& status)
{
    std::unique_ptr<FFmpegAudioSource> source(new FFmpegAudioSource);
    AVFormatContext* format = nullptr;
    const int opened =
        ff::avformat_open_input(&format, QFile::encodeName(path).constData(), nullptr, nullptr);
    if (opened < 0) {
        status = statusOfOpenError(opened);
        return nullptr;
    }
    source->m_format.reset(format);
    if (demuxer ? std::strcmp(format->iformat->name, demuxer) != 0 : !isPlatformDemuxer(format->iformat)) {
        status = kAudioFileUnsupportedFileTypeError;
        return nullptr;
    }
    if (ff::avformat_find_stream_info(format, nullptr) < 0) {
        status = kAudioFileInvalidFileError;
        return nullptr;
    }

    status = kAudioFileUnsupportedDataFormatError;
    for (unsigned i = 0; i < format->nb_streams && !source->m_stream; ++i) {
        AVStream* stream = format->streams[i];
        if (stream->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
            continue;
        }
        const AVCodec* decoder = ff::avcodec_find_decoder(stream->codecpar->codec_id);
        if (!decoder) {
            continue;
        }
        AVCodecContextPtr codec(ff::avcodec_alloc_context3(decoder));
        if (!codec || ff::avcodec_parameters_to_context(codec.get(), stream->codecpar) < 0) {
            continue;
        }
        codec->pkt_timebase = stream->time_base;
        if (ff::avcodec_open2(codec.get(), decoder, nullptr) < 0) {
            continue;
        }
        if (codec->sample_rate <= 0 || codec->ch_layout.nb_channels <= 0) {
            continue;
        }
        source->m_codec = std::move(codec);
        source->m_stream = stream;
    }
    if (!source->m_stream) {
        return nullptr;
    }
    source->m_packet.reset(ff::av_packet_alloc());
    source->m_frame.reset(ff::av_frame_alloc());
    if (!source->m_packet || !source->m_frame) {
        status = kAudioFileUnspecifiedError;
        return nullptr;
    }
    usableLayout(source->m_codec->ch_layout, source->m_outputLayout);
    source->describeStream();
    status = noErr;
    return source;
}

void FFmpegAudioSource::describeStream()
{
    const AVCodecParameters* parameters = m_stream->codecpar;
    AudioStreamBasicDescription& format = m_dataFormat;
    format.mSampleRate = m_codec->sample_rate;
    format.mChannelsPerFrame = uint32_t(m_codec->ch_layout.nb_channels);
    const CodecRow* row = codecRow(parameters->codec_id);
    if (!row) {
        // A codec the platform has no identifier for: its container tag,
        // as a code of its own.
        format.mFormatID = uint32_t(parameters->codec_tag);
        format.mFramesPerPacket = uint32_t(std::max(parameters->frame_size, 0));
        return;
    }
    format.mFormatID = row->formatID;
    format.mFormatFlags = row->formatFlags;
    if (row->codec == AV_CODEC_ID_ALAC) {
        format.mFormatFlags = alacDepthFlag(alacBitDepth(parameters));
    }
    if (row->formatID == kAudioFormatLinearPCM) {
        format.mBitsPerChannel = uint32_t(row->bitsPerSample);
        format.mBytesPerFrame = format.mBitsPerChannel / 8 * format.mChannelsPerFrame;
        format.mBytesPerPacket = format.mBytesPerFrame;
        format.mFramesPerPacket = 1;
    } else {
        if (row->bitsPerSample == kBitsFromStream) {
            format.mBitsPerChannel = uint32_t(std::max(parameters->bits_per_raw_sample, 0));
        }
        format.mFramesPerPacket = uint32_t(std::max(parameters->frame_size, 0));
    }
}

AudioChannelLayout FFmpegAudioSource::channelLayout() const
{
    const AVChannelLayout& layout = m_codec->ch_layout;
    // FFmpeg's first eighteen speaker bits are the WAVE mask's, which the
    // platform's channel bitmap shares.
    constexpr uint64_t kBitmapSpeakers = (uint64_t(1) << 18) - 1;
    if (layout.order == AV_CHANNEL_ORDER_NATIVE && layout.u.mask != 0 &&
        (layout.u.mask & ~kBitmapSpeakers) == 0) {
        return AudioChannelLayout{kAudioChannelLayoutTag_UseChannelBitmap, uint32_t(layout.u.mask), {}};
    }
    switch (layout.nb_channels) {
    case 1:
        return AudioChannelLayout::withTag(kAudioChannelLayoutTag_Mono);
    case 2:
        return AudioChannelLayout::withTag(kAudioChannelLayoutTag_Stereo);
    default:
        return AudioChannelLayout::withTag(kAudioChannelLayoutTag_Unknown);
    }
}

int64_t FFmpegAudioSource::lengthFrames() const
{
    const AVRational perFrame{1, m_codec->sample_rate};
    if (m_stream->duration != AV_NOPTS_VALUE && m_stream->duration > 0) {
        return ff::av_rescale_q(m_stream->duration, m_stream->time_base, perFrame);
    }
    if (m_format->duration != AV_NOPTS_VALUE && m_format->duration > 0) {
        return ff::av_rescale_q(m_format->duration, AV_TIME_BASE_Q, perFrame);
    }
    return -1;
}

int64_t FFmpegAudioSource::announcedLengthFrames() const
{
    if (m_format->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return -1;
    }
    return lengthFrames();
}

QString FFmpegAudioSource::fileTypeName() const
{
    const AVInputFormat* format = m_format->iformat;
    return QString::fromUtf8(format->long_name ? format->long_name : format->name);
}

int64_t FFmpegAudioSource::bitRate() const
{
    // The stream's own rate, else the container's (which counts every stream).
    return m_stream->codecpar->bit_rate != 0 ? m_stream->codecpar->bit_rate : m_format->bit_rate;
}

QString FFmpegAudioSource::dataFormatName() const
{
    const AVCodec* codec = m_codec->codec;
    return QString::fromUtf8(codec->long_name ? codec->long_name : codec->name);
}

bool FFmpegAudioSource::convertFrame(const AVFrame* frame)
{
    if (frame->nb_samples <= 0 || frame->ch_layout.nb_channels <= 0 || frame->sample_rate <= 0) {
        return false;
    }
    AVChannelLayout input{};
    usableLayout(frame->ch_layout, input);
    if (!m_converter || m_converterFormat != frame->format || m_converterRate != frame->sample_rate ||
        ff::av_channel_layout_compare(&m_converterLayout, &input) != 0) {
        // The same speakers in and out unless the stream changed its channel
        // count midway; then the frame is remixed to the count announced.
        AVChannelLayout* output = input.nb_channels == m_outputLayout.nb_channels ? &input : &m_outputLayout;
        SwrContext* converter = nullptr;
        const bool made =
            ff::swr_alloc_set_opts2(&converter, output, AV_SAMPLE_FMT_S32, m_codec->sample_rate, &input,
                                    AVSampleFormat(frame->format), frame->sample_rate, 0, nullptr) == 0;
        m_converter.reset(converter);
        if (!made || ff::swr_init(converter) < 0) {
            m_converter.reset();
            ff::av_channel_layout_uninit(&input);
            return false;
        }
        m_converterFormat = frame->format;
        m_converterRate = frame->sample_rate;
        ff::av_channel_layout_uninit(&m_converterLayout);
        ff::av_channel_layout_copy(&m_converterLayout, &input);
    }
    ff::av_channel_layout_uninit(&input);

    const int capacity = ff::swr_get_out_samples(m_converter.get(), frame->nb_samples);
    if (capacity <= 0) {
        return false;
    }
    const size_t channels = m_dataFormat.mChannelsPerFrame;
    const size_t start = m_pending.size();
    m_pending.resize(start + size_t(capacity) * channels);
    uint8_t* out[] = {reinterpret_cast<uint8_t*>(m_pending.data() + start)};
    const int converted =
        ff::swr_convert(m_converter.get(), out, capacity, const_cast<const uint8_t**>(frame->extended_data),
                        frame->nb_samples);
    m_pending.resize(start + size_t(std::max(converted, 0)) * channels);
    return converted > 0;
}

bool FFmpegAudioSource::decodeMore()
{
    while (!m_decoderEnded) {
        const int received = ff::avcodec_receive_frame(m_codec.get(), m_frame.get());
        if (received == 0) {
            const bool added = convertFrame(m_frame.get());
            ff::av_frame_unref(m_frame.get());
            if (added) {
                return true;
            }
            continue;
        }
        if (received == AVERROR_EOF) {
            m_decoderEnded = true;
            break;
        }
        if (received != AVERROR(EAGAIN)) {
            noteDecodeError(received);
        }
        // EAGAIN wants input; after a damaged frame the decoder goes on with
        // the next packet too.
        if (m_inputEnded) {
            // The decoder was told the input ended and still gives nothing.
            m_decoderEnded = true;
            break;
        }
        if (ff::av_read_frame(m_format.get(), m_packet.get()) < 0) {
            // End of input or a read error: drain what the decoder holds.
            m_inputEnded = true;
            ff::avcodec_send_packet(m_codec.get(), nullptr);
            continue;
        }
        if (m_packet->stream_index == m_stream->index) {
            // A packet the decoder refuses is lost on its own; the next one
            // starts afresh.
            const int sent = ff::avcodec_send_packet(m_codec.get(), m_packet.get());
            if (sent < 0 && sent != AVERROR(EAGAIN)) {
                noteDecodeError(sent);
            }
        }
        ff::av_packet_unref(m_packet.get());
    }
    return false;
}

uint32_t FFmpegAudioSource::sourceBitsPerSample() const
{
    if (m_codec->bits_per_raw_sample > 0) {
        return uint32_t(m_codec->bits_per_raw_sample);
    }
    return uint32_t(std::max(ff::av_get_bytes_per_sample(m_codec->sample_fmt), 0)) * 8;
}

void FFmpegAudioSource::noteDecodeError(int error)
{
    ++m_decodeErrors;
    if (m_firstDecodeError == 0) {
        m_firstDecodeError = error;
    }
}

OSStatus FFmpegAudioSource::readFrames(int32_t* out, uint32_t& frameCount)
{
    const size_t channels = m_dataFormat.mChannelsPerFrame;
    const size_t wanted = size_t(frameCount) * channels;
    while (m_pending.size() - m_pendingOffset < wanted) {
        if (m_pendingOffset > 0) {
            m_pending.erase(m_pending.begin(), m_pending.begin() + ptrdiff_t(m_pendingOffset));
            m_pendingOffset = 0;
        }
        if (!decodeMore()) {
            break;
        }
    }
    const size_t samples = std::min(wanted, m_pending.size() - m_pendingOffset) / channels * channels;
    std::copy_n(m_pending.data() + m_pendingOffset, samples, out);
    m_pendingOffset += samples;
    frameCount = uint32_t(samples / channels);
    return noErr;
}
