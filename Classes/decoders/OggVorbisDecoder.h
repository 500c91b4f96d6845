#pragma once
// Decodes Ogg Vorbis with libvorbisfile into interleaved signed 16-bit
// little-endian PCM in Vorbis channel order. Chained files decode link after
// link with the format of the first.
//
// Ownership: the decoder owns the libvorbisfile state and, through it, the
// open file; both are released with the decoder.
// Threads: one thread.
// Failures: initWithFilename() raises an assertion failure (NamedException)
// when the file cannot be opened or is not Vorbis ("Failed ov_test.  Not a
// vaild Ogg Vorbis file." and its siblings, exact texts kept), and logs and
// returns false only for a zero frame size. fillPCMBuffer() raises "ov_read
// Failed." when libvorbisfile reports a decoding error other than a hole.
// Damage: holes (pages lost or damaged, by their sequence numbers and
// checksums) are noted and decoded past; a file whose last page does not end
// its stream was cut short, and is noted as such at the end.

#include "ZTDecoder.h"

#include <memory>
#include <vorbis/vorbisfile.h>

class OggVorbisDecoder : public ZTDecoder
{
public:
    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("OggVorbisDecoder"); }

    // Frames of all logical streams together.
    int64_t totalFrames() override;
    bool decodesInRealTime() override { return true; }
    // Fills the ring buffer nearly full; the buffer is never grown.
    void fillPCMBuffer() override;

private:
    struct VorbisFileDeleter
    {
        void operator()(OggVorbis_File* file) const;
    };

    std::unique_ptr<OggVorbis_File, VorbisFileDeleter> m_oggVorbisFile;
};
