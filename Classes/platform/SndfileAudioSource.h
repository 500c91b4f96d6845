#pragma once
// The libsndfile side of the platform reader: WAV (with WAVE_FORMAT_EXTENSIBLE
// channel masks), RF64, W64, AIFF, AIFF-C, CAF (PCM and ALAC), Sun/NeXT AU,
// MPEG layer I-III and whatever else libsndfile opens.
//
// Owns its SNDFILE. One thread at a time.

#include "AudioFileSource.h"

#include <memory>
#include <sndfile.h>
#include <vector>

class SndfileAudioSource : public AudioFileSource
{
public:
    // The opened file, or null with status set (kAudioFileUnsupportedFileTypeError
    // when libsndfile does not know the file, kAudioFileInvalidFileError when
    // it knows but cannot parse it, kAudioFileUnsupportedDataFormatError for
    // an unknown encoding).
    static std::unique_ptr<SndfileAudioSource> open(const QString& path, OSStatus& status);

    AudioStreamBasicDescription dataFormat() const override { return m_dataFormat; }
    AudioChannelLayout channelLayout() const override;
    int64_t lengthFrames() const override { return m_info.frames; }
    // For PCM: the frames the header's data chunk announces (libsndfile
    // cuts frames() to what the file holds). For MPEG: the frame count of
    // the first frame's Xing, Info or VBRI header; without one the length is
    // an estimate from the file's size: -1.
    int64_t announcedLengthFrames() const override { return m_announcedFrames; }
    // Exact for PCM; MPEG is left to reading and dropping.
    bool seekToFrame(int64_t frame) override;
    QString fileTypeName() const override;
    QString dataFormatName() const override;
    OSStatus readFrames(int32_t* out, uint32_t& frameCount) override;
    bool hasExact16BitSamples() const override { return m_exact16Bit; }
    OSStatus readFrames16(int16_t* out, uint32_t& frameCount) override;

private:
    struct SndfileCloser
    {
        void operator()(SNDFILE* file) const { sf_close(file); }
    };

    SndfileAudioSource() = default;
    QString formatName(int format) const;
    // Sets frameCount from libsndfile's answer and tells a failure.
    OSStatus finishRead(sf_count_t read, uint32_t& frameCount) const;

    std::unique_ptr<SNDFILE, SndfileCloser> m_file;
    // Kept for the chunks libsndfile is not asked about.
    QString m_path;
    SF_INFO m_info{};
    AudioStreamBasicDescription m_dataFormat;
    // Floating-point and lossy encodings are read as doubles and quantised
    // here: libsndfile's own float-to-int reads do not scale to full range.
    bool m_readsDoubles = false;
    std::vector<double> m_doubles;
    // 16-bit encodings, which libsndfile also reads as shorts without loss.
    bool m_exact16Bit = false;
    int64_t m_announcedFrames = -1;
};
