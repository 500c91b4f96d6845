#pragma once
// The platform's audio file services: opens an audio file by path, tells its
// data format, channel layout, length and the library's names for its type
// and encoding, and reads its frames converted to an interleaved
// signed-integer client format (see ClientSampleFormat for the widths).
//
// A file is opened with libsndfile first (WAV, RF64, W64, AIFF, AIFF-C, CAF,
// AU, MP3, MP2, ...) and, when libsndfile refuses it, with libavformat and
// libavcodec for the platform's other types (MP4/M4A/3GPP with AAC or ALAC,
// ADTS AAC, AMR, ...). CoreAudioDecoder reads its PCM through this class;
// readers of a file's stream properties and the same-type test of the file
// operation use it as well.
//
// Failures are status codes (AudioFileStatus.h), never exceptions; messages
// show them with statusText(). The reader owns its library handles and
// closes them when destroyed. One thread at a time; different readers may
// run on different threads at once.

#include "AudioFileStatus.h"
#include "CoreAudioTypes.h"

#include <QString>
#include <memory>
#include <optional>
#include <vector>

class AudioFileSource;
class ClientSampleFormat;

class AudioFileReader
{
public:
    // The opened file, or null with status set: fnfErr for a missing file,
    // kAudioFilePermissionsError for one that may not be read,
    // kAudioFileUnsupportedFileTypeError when neither library knows it,
    // kAudioFileUnsupportedDataFormatError / kAudioFileInvalidFileError when
    // its type is known but its audio cannot be decoded.
    static std::unique_ptr<AudioFileReader> open(const QString& path, OSStatus& status);
    ~AudioFileReader();

    // The file's own stream description (rate, channels, format identifier
    // and flags; bits per channel for linear PCM, 0 for compressed data).
    OSStatus getFileDataFormat(AudioStreamBasicDescription& format) const;
    OSStatus getFileChannelLayout(AudioChannelLayout& layout) const;
    // Length in frames (-1 when the file does not tell).
    OSStatus getFileLengthFrames(int64_t& frames) const;
    // The length the file's header announces, which a stream ending earlier
    // falls short of (AudioFileSource::announcedLengthFrames); -1 when the
    // library only estimates it.
    int64_t announcedLengthFrames() const;
    // Before the first read: AudioFileSource::seekToFrame.
    bool seekToFrame(int64_t frame);
    // The opening library's names: libsndfile's major-format and subtype
    // names, or FFmpeg's demuxer and codec long names.
    // The average bit rate in bits per second as the opening library states
    // it; 0 when it states none.
    int64_t bitRate() const;
    QString fileTypeName() const;
    QString dataFormatName() const;

    // Sets the format read() delivers; kAudioConverterErr_FormatNotSupported
    // when it is not one ClientSampleFormat accepts for this file.
    OSStatus setClientDataFormat(const AudioStreamBasicDescription& format);

    // Reads up to frameCount frames into bufferList->mBuffers[0] (at most
    // as many as its mDataByteSize holds) and sets frameCount and
    // mDataByteSize to what came; 0 frames at the end of the file.
    // kExtAudioFileError_InvalidOperationOrder before a client format is
    // set; another non-zero status when the library fails while reading.
    OSStatus read(uint32_t& frameCount, AudioBufferList* bufferList);
    // Packets the library refused as damaged so far; read() goes on after
    // them without a failure status.
    int64_t decodeErrors() const;

private:
    explicit AudioFileReader(std::unique_ptr<AudioFileSource> source);

    std::unique_ptr<AudioFileSource> m_source;
    std::unique_ptr<ClientSampleFormat> m_client;
    std::vector<int32_t> m_scratch;
};
