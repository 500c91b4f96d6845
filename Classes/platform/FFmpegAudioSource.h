#pragma once
// The libavformat/libavcodec side of the platform reader, for the platform's
// formats that libsndfile does not open: MP4/M4A/3GPP with AAC or ALAC,
// ADTS AAC, AMR, AC-3, and MP3/MP2, WAV, AIFF or CAF whose encoding
// libsndfile lacks. Other containers (Matroska, AVI, Ogg, ...) are refused:
// they are not the platform's, and the decoder factory sends them to
// FFMPEGDecoder instead.
//
// Decodes the file's first audio stream and converts every frame to
// interleaved 32-bit samples at the stream's rate and channel count.
// Owns every FFmpeg handle it uses. One thread at a time.

#include "AudioFileSource.h"
#include "FFmpegPointers.h"

#include <memory>
#include <vector>

class FFmpegAudioSource : public AudioFileSource
{
public:
    // The opened file, or null with status set
    // (kAudioFileUnsupportedFileTypeError when the container is not one of
    // the platform's, kAudioFileUnsupportedDataFormatError when it holds no
    // audio stream that can be decoded, kAudioFileInvalidFileError when the
    // container cannot be parsed).
    static std::unique_ptr<FFmpegAudioSource> open(const QString& path, OSStatus& status);
    // The same for a codec's own container read by one named FFmpeg
    // demuxer ("ape", "tta"): files the demuxer does not claim are refused
    // with kAudioFileUnsupportedFileTypeError.
    static std::unique_ptr<FFmpegAudioSource> openWithDemuxer(const QString& path, const char* demuxer,
                                                              OSStatus& status);
    ~FFmpegAudioSource() override;

    AudioStreamBasicDescription dataFormat() const override { return m_dataFormat; }
    AudioChannelLayout channelLayout() const override;
    int64_t lengthFrames() const override;
    // -1 when FFmpeg guessed the length from the bit rate (ADTS, MP3
    // without a header frame): only a length the container states counts.
    int64_t announcedLengthFrames() const override;
    QString fileTypeName() const override;
    QString dataFormatName() const override;
    int64_t bitRate() const override;
    OSStatus readFrames(int32_t* out, uint32_t& frameCount) override;
    // FFmpeg's code of the first packet or frame the decoder refused as
    // damaged (the samples of that packet are lost); 0 while there is none.
    int firstDecodeError() const { return m_firstDecodeError; }
    int64_t decodeErrors() const override { return m_decodeErrors; }
    // The depth of the source's samples as the codec states it (16 for
    // 16-bit Monkey's Audio, 24 for 24-bit True Audio); 0 when unknown.
    uint32_t sourceBitsPerSample() const;

private:
    FFmpegAudioSource() = default;
    static std::unique_ptr<FFmpegAudioSource> openAccepting(const QString& path, const char* demuxer,
                                                            OSStatus& status);
    void noteDecodeError(int error);
    void describeStream();
    // Decodes until at least one more frame is pending or the stream ends.
    // False at the end.
    bool decodeMore();
    bool convertFrame(const AVFrame* frame);

    AVFormatContextPtr m_format;
    AVCodecContextPtr m_codec;
    AVStream* m_stream = nullptr;
    AVPacketPtr m_packet;
    AVFramePtr m_frame;
    SwrContextPtr m_converter;
    // The input the converter was made for.
    int m_converterFormat = -1;
    int m_converterRate = 0;
    AVChannelLayout m_converterLayout{};
    AVChannelLayout m_outputLayout{};
    bool m_inputEnded = false; // the demuxer is exhausted and the decoder told so
    bool m_decoderEnded = false;
    int m_firstDecodeError = 0;
    int64_t m_decodeErrors = 0;

    AudioStreamBasicDescription m_dataFormat;
    std::vector<int32_t> m_pending; // converted samples not yet read
    size_t m_pendingOffset = 0;
};
