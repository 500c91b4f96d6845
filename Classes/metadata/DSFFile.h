#pragma once
// A Sony DSD stream file (DSF) as the metadata needs it: the stream facts of
// its "fmt " chunk and the ID3v2 tag its header points to. TagLib 1.13 has
// no DSF class, so the header is read here and the tag bytes are parsed by
// TagLib's own ID3v2::Tag.
//
// Layout (little-endian): "DSD " chunk (28 bytes: size, file size, offset
// of the metadata chunk), "fmt " chunk (52 bytes: version, format id,
// channel type, channel count, sampling frequency, bits per sample, sample
// count per channel, block size), then "data". The metadata offset is 0
// when the file has no tag.
//
// Never throws; a file that is not a readable DSF is invalid and has no
// tag. Owns its file handle, closed when the object goes. One thread at a
// time.

#include <QString>
#include <cstdint>
#include <memory>

namespace TagLib {
class File;
class FileStream;
namespace ID3v2 {
class Tag;
}
} // namespace TagLib

class DSFFile
{
public:
    explicit DSFFile(const QString& path);
    ~DSFFile();
    DSFFile(const DSFFile&) = delete;
    DSFFile& operator=(const DSFFile&) = delete;

    bool isValid() const { return m_valid; }

    // Whole seconds, truncated.
    int lengthInSeconds() const;
    // Kilobits per second of the raw DSD stream, rounded.
    int bitrate() const;
    int sampleRate() const { return int(m_sampleRate); }
    int channels() const { return int(m_channels); }
    int bitsPerSample() const { return int(m_bitsPerSample); }
    uint64_t sampleCount() const { return m_sampleCount; }

    // The tag the header points to, or null when there is none. Owned by
    // this object.
    TagLib::ID3v2::Tag* ID3v2Tag() const { return m_tag.get(); }

private:
    void readHeader(const QString& path);

    bool m_valid = false;
    uint32_t m_channels = 0;
    uint32_t m_sampleRate = 0;
    uint32_t m_bitsPerSample = 0;
    uint64_t m_sampleCount = 0;
    uint64_t m_metadataOffset = 0;
    // TagLib's ID3v2 parser reads through a TagLib file; this one is only a
    // window on the stream. Declared in the order they are built, so the tag
    // goes before the file it reads and the file before its stream.
    std::unique_ptr<TagLib::FileStream> m_stream;
    std::unique_ptr<TagLib::File> m_tagFile;
    std::unique_ptr<TagLib::ID3v2::Tag> m_tag;
};
