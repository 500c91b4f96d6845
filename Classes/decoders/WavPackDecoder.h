#pragma once
// Decodes WavPack (".wv") with libwavpack into interleaved little-endian
// signed integer PCM of the file's own depth (8, 16, 24 or 32 bits). A
// correction file (".wvc") beside the source is used when present, so hybrid
// files decode lossless; DSD content is delivered as PCM.
//
// Each fillPCMBuffer() unpacks 1024 samples (1024 / channels frames): 512
// frames of a stereo file.
//
// Ownership: owns the libwavpack context (and through it the open files).
// Threads: one thread.
// Damage: blocks libwavpack finds damaged (WavpackGetNumErrors) are noted as
// they are met; a lossless integer file that carries an MD5 signature is
// checked against the decoded audio at the end.
// Failures: initWithFilename() raises an assertion failure "can't open file:
// %s." with libwavpack's reason, and logs "Failed To Determine
// mBytesPerFrame." for a zero frame size; fillPCMBuffer() raises
// "IllegalInputException" ("WavPack Does Not Support %u Bit Files") for
// depths other than 8, 16, 24 and 32 bits.

#include "ZTDecoder.h"

#include <QCryptographicHash>
#include <array>
#include <memory>
#include <optional>
#include <wavpack/wavpack.h>

class WavPackDecoder : public ZTDecoder
{
public:
    bool initWithFilename(const QString& path) override;
    QString className() const override { return QStringLiteral("WavPackDecoder"); }

    int64_t totalFrames() override;
    // Exact; the MD5 signature is no longer checked after it.
    bool seekToFrame(int64_t frame) override;
    bool decodesInRealTime() override { return true; }
    void fillPCMBuffer() override;

private:
    struct ContextCloser
    {
        void operator()(WavpackContext* context) const { WavpackCloseFile(context); }
    };

    // Feeds frames frames of the packed output at out to the signature.
    void hashFrames(const uint8_t* out, uint32_t frames);
    void checkSignature();

    std::unique_ptr<WavpackContext, ContextCloser> m_wpc;
    int m_errorsSeen = 0;
    // The file's own signature; none when it carries none or its audio
    // cannot be compared (lossy without its correction file, float, DSD).
    std::optional<std::array<unsigned char, 16>> m_storedMD5;
    QCryptographicHash m_md5{QCryptographicHash::Md5};
};
