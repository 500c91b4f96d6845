#include "FFMPEGDecoder.h"

#include "ErrorLog.h"
#include "FFmpegError.h"
#include "FFmpegInput.h"

#include <QFile>
#include <cerrno>
#include <cstdlib>
#include <cstring>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/error.h>
#include <libavutil/mathematics.h>
#include <libavutil/samplefmt.h>
}

namespace {

// The layout libswresample converts from: the stream's own when it names its
// speakers, the default for its channel count otherwise.
void converterLayout(const AVChannelLayout& from, AVChannelLayout& to)
{
    if (from.order == AV_CHANNEL_ORDER_NATIVE && from.nb_channels > 0) {
        ff::av_channel_layout_copy(&to, &from);
    } else {
        ff::av_channel_layout_default(&to, from.nb_channels);
    }
}

} // namespace

void FFMPEGDecoder::logFailure(const QString& message, int error)
{
    ErrorLog::logMessage(message);
    ErrorLog::logMessage(QStringLiteral("%1: %2").arg(m_inFilePath, FFmpegError::text(error)));
}

bool FFMPEGDecoder::openInput(const QString& path)
{
    int error = 0;
    m_ic = FFmpegInput::openWithRetries(path, true, &error);
    if (m_ic) {
        return true;
    }
    logFailure(QStringLiteral("FFMPEG Could Not Open Input For File: %1 ERROR: %2").arg(path).arg(error),
               error);
    return false;
}

bool FFMPEGDecoder::initWithFilename(const QString& path)
{
    if (!ZTDecoder::initWithFilename(path)) {
        return false;
    }
    m_ic.reset();
    m_c.reset();
    m_numFrames = 0;
    m_currentFrame = 0;

    if (!openInput(path)) {
        return false;
    }

    ff::avformat_find_stream_info(m_ic.get(), nullptr);
    // The first audio stream; without one the last stream stays chosen and
    // the steps below fail on it or decode nothing.
    AVStream* stream = nullptr;
    for (unsigned i = 0; i < m_ic->nb_streams; ++i) {
        stream = m_ic->streams[i];
        m_streamIndex = int(i);
        if (stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO) {
            break;
        }
    }
    if (!stream) {
        m_ic.reset();
        ErrorLog::logMessage(QStringLiteral("FFMPEG Could Not Find A Valid Codec In File: %1").arg(path));
        return false;
    }

    m_codec = ff::avcodec_find_decoder(stream->codecpar->codec_id);
    if (!m_codec) {
        m_ic.reset();
        logFailure(QStringLiteral("FFMPEG Could Not Find A Valid Decoder For File: %1").arg(path), 0);
        return false;
    }
    m_c.reset(ff::avcodec_alloc_context3(m_codec));
    int error = m_c ? ff::avcodec_parameters_to_context(m_c.get(), stream->codecpar) : AVERROR(ENOMEM);
    if (error >= 0) {
        m_c->pkt_timebase = stream->time_base;
        error = ff::avcodec_open2(m_c.get(), m_codec, nullptr);
    }
    if (error < 0) {
        m_ic.reset();
        logFailure(QStringLiteral("FFMPEG Could Not Open Audio Codec File: %1").arg(path), error);
        return false;
    }

    const AVSampleFormat decoded = m_c->sample_fmt;
    const bool deliveredAsDecoded = decoded == AV_SAMPLE_FMT_U8 || decoded == AV_SAMPLE_FMT_S16;
    m_outputFormat = deliveredAsDecoded ? decoded : AV_SAMPLE_FMT_S16;
    const int bytesPerSample = ff::av_get_bytes_per_sample(m_outputFormat);
    const int channels = m_c->ch_layout.nb_channels;
    setSignedPackedFormat(std::max(m_c->sample_rate, 0), uint32_t(std::max(channels, 0)),
                          uint32_t(bytesPerSample * 8), uint32_t(bytesPerSample));
    // Whole seconds only: a file of 2.9 s reports 2 s worth of frames.
    m_totalFrames = m_ic->duration == AV_NOPTS_VALUE
                        ? -1
                        : (m_ic->duration / AV_TIME_BASE) * int64_t(m_decodeFormat.mSampleRate);
    if (m_decodeFormat.mBytesPerFrame == 0) {
        m_c.reset();
        m_ic.reset();
        ErrorLog::logMessage(QStringLiteral("Failed To Determine mBytesPerFrame."));
        return false;
    }
    setChannelLayout(AudioChannelLayout::withTag(channels == 1   ? kAudioChannelLayoutTag_Mono
                                                 : channels == 2 ? kAudioChannelLayoutTag_Stereo
                                                                 : kAudioChannelLayoutTag_Unknown));
    return true;
}

int64_t FFMPEGDecoder::announcedFrames()
{
    if (!m_ic || m_ic->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return -1;
    }
    return m_totalFrames;
}

void FFMPEGDecoder::fillPCMBuffer()
{
    AVPacketPtr packet(ff::av_packet_alloc());
    if (!packet || ff::av_read_frame(m_ic.get(), packet.get()) < 0) {
        // What the decoder still holds belongs to the end of the stream.
        decodePacket(nullptr);
        m_isEndOfFile = true;
        return;
    }
    if (m_ic->streams[packet->stream_index]->codecpar->codec_type != AVMEDIA_TYPE_AUDIO) {
        return;
    }
    if (packet->size < 1) {
        return;
    }
    decodePacket(packet.get());
}

void FFMPEGDecoder::decodePacket(const AVPacket* packet)
{
    const int sent = ff::avcodec_send_packet(m_c.get(), packet);
    if (sent < 0 && sent != AVERROR_EOF) {
        if (packet) {
            noteDamage(DecoderDamage::Kind::FailedPackets);
            ErrorLog::logMessage(
                QStringLiteral(
                    "FFMPEG Encountered An Error While Decoding File: %1 Error in avcodec_decode_audio4")
                    .arg(m_inFilePath));
        }
        return;
    }
    while (true) {
        AVFramePtr frame(ff::av_frame_alloc());
        if (!frame) {
            ErrorLog::logMessage(
                QStringLiteral(
                    "FFMPEG Encountered An Error While Decoding File: %1  Error in avcodec_alloc_frame")
                    .arg(m_inFilePath));
            return;
        }
        const int received = ff::avcodec_receive_frame(m_c.get(), frame.get());
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF) {
            return;
        }
        if (received < 0) {
            noteDamage(DecoderDamage::Kind::FailedPackets);
            ErrorLog::logMessage(
                QStringLiteral(
                    "FFMPEG Encountered An Error While Decoding File: %1 Error in avcodec_decode_audio4")
                    .arg(m_inFilePath));
            return;
        }
        appendFrame(frame.get());
    }
}

void FFMPEGDecoder::appendFrame(const AVFrame* frame)
{
    const int channels = int(m_decodeFormat.mChannelsPerFrame);
    const AVSampleFormat format = AVSampleFormat(frame->format);
    if (frame->nb_samples <= 0 || frame->ch_layout.nb_channels <= 0 || frame->sample_rate <= 0) {
        return;
    }
    if (format == m_outputFormat && frame->ch_layout.nb_channels == channels &&
        frame->sample_rate == int(m_decodeFormat.mSampleRate)) {
        const int byteCount = ff::av_samples_get_buffer_size(nullptr, channels, frame->nb_samples, format, 1);
        if (byteCount > 0) {
            appendBytes(frame->data[0], uint32_t(byteCount));
        }
        return;
    }

    // A resampler for this frame alone, so that nothing is carried from one
    // frame to the next.
    AVChannelLayout input{};
    AVChannelLayout output{};
    converterLayout(frame->ch_layout, input);
    if (input.nb_channels == channels) {
        ff::av_channel_layout_copy(&output, &input);
    } else {
        // The stream changed its channel count midway: keep the one announced.
        ff::av_channel_layout_default(&output, channels);
    }
    const int outputRate = int(m_decodeFormat.mSampleRate);
    SwrContext* raw = nullptr;
    const int made = ff::swr_alloc_set_opts2(&raw, &output, m_outputFormat, outputRate, &input, format,
                                             frame->sample_rate, 0, nullptr);
    SwrContextPtr resampler(raw);
    ff::av_channel_layout_uninit(&input);
    ff::av_channel_layout_uninit(&output);
    if (made < 0 || ff::swr_init(resampler.get()) < 0) {
        return;
    }

    const int capacity =
        int(ff::av_rescale_rnd(ff::swr_get_delay(resampler.get(), frame->sample_rate) + frame->nb_samples,
                               outputRate, frame->sample_rate, AV_ROUND_UP));
    uint8_t* samples = nullptr;
    if (capacity <= 0 || ff::av_samples_alloc(&samples, nullptr, channels, capacity, m_outputFormat, 0) < 0) {
        return;
    }
    AVSampleBufferPtr converted(samples);
    uint8_t* out[] = {samples};
    const int count = ff::swr_convert(resampler.get(), out, capacity,
                                      const_cast<const uint8_t**>(frame->extended_data), frame->nb_samples);
    if (count > 0) {
        appendBytes(samples, uint32_t(channels * count * ff::av_get_bytes_per_sample(m_outputFormat)));
    }
}

void FFMPEGDecoder::appendBytes(const uint8_t* data, uint32_t byteCount)
{
    RingBuffer* buffer = pcmBuffer();
    if (buffer->freeSpaceAvailable() < byteCount) {
        buffer->resize(buffer->size() + byteCount);
    }
    std::memcpy(buffer->exposeBufferForWriting(), data, byteCount);
    buffer->wroteBytes(byteCount);
}
