// What decoders report about damaged sources: the wording of the report,
// and no report at all for the files the fixture generators wrote, but the
// few cut short on purpose (TagLib's files: DecoderFactoryTest). How damaged
// files of each format are reported is checked end to end in tests/cli.

#include "DecoderDamage.h"
#include "Fixtures.h"
#include "InstantRetries.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <QDir>
#include <gtest/gtest.h>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

using Kind = DecoderDamage::Kind;

TEST(DecoderDamage, SaysWhatWasFoundAndWhere)
{
    const double rate = 44100;
    DecoderDamage none;
    EXPECT_FALSE(none.isDamaged());
    EXPECT_EQ(none.describe(rate), QString());

    DecoderDamage crc;
    crc.note(Kind::FailedCRC, int64_t(8.45 * rate));
    crc.note(Kind::FailedCRC, int64_t(9.0 * rate), 2);
    crc.noteEndedEarly(int64_t(12.0 * rate), int64_t(20.0 * rate));
    // Any other damage breaks the signature too: it is not named then.
    crc.note(Kind::ChecksumMismatch, int64_t(12.0 * rate));
    EXPECT_TRUE(crc.isDamaged());
    EXPECT_EQ(crc.count(Kind::FailedCRC), 3);
    EXPECT_EQ(crc.firstFrame(Kind::FailedCRC), int64_t(8.45 * rate));
    EXPECT_EQ(crc.describe(rate), QStringLiteral("3 frames failed their CRC, first at 0:08.4; "
                                                 "stream ends at 0:12.0 of 0:20.0"));

    DecoderDamage signature;
    signature.note(Kind::ChecksumMismatch, int64_t(20.0 * rate));
    EXPECT_EQ(signature.describe(rate), u"MD5 signature does not match the decoded audio"_s);

    DecoderDamage ogg;
    ogg.note(Kind::MissingPages, int64_t(61.25 * rate), 2);
    ogg.note(Kind::NoEndOfStream, int64_t(75.0 * rate));
    EXPECT_EQ(ogg.describe(rate),
              QStringLiteral("2 pages are missing, first at 1:01.2; stream ends at 1:15.0 without its "
                             "end-of-stream page"));
}

// Decodes path to its end; the damage its decoder reported, or nullopt when
// it refused the file.
std::optional<DecoderDamage> damageOf(const QString& path)
{
    try {
        const std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(path);
        if (!decoder) {
            return std::nullopt;
        }
        decodeAll(*decoder);
        return decoder->damage();
    } catch (const NamedException&) {
        return std::nullopt;
    }
}

TEST(DecoderDamage, NoGeneratedFileWarnsButThoseCutOnPurpose)
{
    InstantRetries retries;
    ErrorLogCapture log;
    // Cut short or corrupted by the generators, for the decoders' tests of
    // such files. (An MP3 tells its length in LAME's Info frame.)
    const QStringList cut = {"dec-16-2ch-truncated.flac", "dec-opus-truncated.opus", "codec-24-truncated.tta",
                             "plat-truncated.wav",        "plat-truncated.mp3",      "plat-corrupt-aac.m4a"};
    const QStringList files =
        QDir(Fixtures::generatedDir())
            .entryList({"*.flac", "*.oga", "*.oggflac", "*.ogg", "*.opus", "*.spx", "*.wv", "*.mpc",
                        "*.tta",  "*.ape", "*.wav",     "*.aif", "*.aiff", "*.caf", "*.au", "*.mp3",
                        "*.m4a",  "*.aac", "*.wma",     "*.dsf", "*.dff",  "*.mod"},
                       QDir::Files, QDir::Name);
    ASSERT_GT(files.size(), 100);
    int decoded = 0;
    for (const QString& name : files) {
        const std::optional<DecoderDamage> damage = damageOf(Fixtures::generated(name));
        if (!damage) {
            continue;
        }
        ++decoded;
        EXPECT_EQ(damage->isDamaged(), cut.contains(name))
            << name.toStdString() << ": " << damage->describe(44100).toStdString();
    }
    EXPECT_GT(decoded, files.size() / 2);
}

} // namespace
