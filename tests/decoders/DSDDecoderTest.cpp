// DSD decodes to 24-bit PCM at the DSD rate / 32: the generated tones come
// out at their frequency and level, as ffmpeg reads them too.
// Then the container parser: counts at other decimations, and the files it refuses.

#include "DSDDecoder.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "KLXDSDFile.h"
#include "NamedException.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <QFile>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

double dB(double ratio)
{
    return 20 * std::log10(ratio);
}

std::unique_ptr<ZTDecoder> openDSD(const QString& name)
{
    std::unique_ptr<ZTDecoder> decoder = ZTDecoder::decoderWithFilename(Fixtures::generated(name));
    EXPECT_NE(decoder, nullptr) << name.toStdString();
    if (decoder) {
        EXPECT_EQ(decoder->className(), u"DSDDecoder"_s);
    }
    return decoder;
}

struct ToneCase
{
    const char* file;
    double rate;
    uint32_t channels;
    uint32_t layoutTag;
    int64_t dsdSamples;
};

class DSDTone : public testing::TestWithParam<ToneCase>
{
protected:
    PreferencesScope prefs;
};

// Channel c carries (c + 1) kHz at half of full scale.
TEST_P(DSDTone, ComesOutAtItsFrequencyAndLevel)
{
    const ToneCase& c = GetParam();
    for (uint32_t chunkFrames : {4096u, 333u}) {
        std::unique_ptr<ZTDecoder> decoder = openDSD(QLatin1String(c.file));
        ASSERT_NE(decoder, nullptr);
        expectPackedFormat(*decoder, c.rate, c.channels, 24, 3, c.layoutTag);
        EXPECT_EQ(decoder->totalFrames(), c.dsdSamples / 32);

        const Pcm pcm = decodeAll(*decoder, chunkFrames);
        EXPECT_TRUE(decoder->isEndOfFile());
        EXPECT_EQ(int64_t(pcm.frames()), decoder->totalFrames()) << "chunk " << chunkFrames;
        EXPECT_EQ(int64_t(decoder->currentFrame()), decoder->totalFrames());
        for (uint32_t channel = 0; channel < c.channels; ++channel) {
            const ToneFit tone = fitTone(pcm, int(channel), 1000.0 * (channel + 1));
            EXPECT_NEAR(dB(tone.amplitude / 0.5), 0.0, 0.2) << "channel " << channel;
            EXPECT_LT(tone.residualDB, -40.0) << "channel " << channel;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, DSDTone,
    testing::Values(ToneCase{"dsd-tone-64-1ch.dsf", 88200, 1, kAudioChannelLayoutTag_Mono, 1411200},
                    ToneCase{"dsd-tone-64-2ch.dsf", 88200, 2, kAudioChannelLayoutTag_Stereo, 1411200},
                    ToneCase{"dsd-tone-128-2ch.dsf", 176400, 2, kAudioChannelLayoutTag_Stereo, 2822400},
                    ToneCase{"dsd-tone-256-2ch.dsf", 352800, 2, kAudioChannelLayoutTag_Stereo, 2822400},
                    ToneCase{"dsd-tone-64-6ch.dsf", 88200, 6, kAudioChannelLayoutTag_MPEG_5_1_A, 705600},
                    ToneCase{"dsd-tone-64-6ch.dff", 88200, 6, kAudioChannelLayoutTag_MPEG_5_1_A, 705600},
                    ToneCase{"dsd-whole-blocks.dsf", 88200, 2, kAudioChannelLayoutTag_Stereo, 524288},
                    ToneCase{"dsd-whole-blocks.dff", 88200, 2, kAudioChannelLayoutTag_Stereo, 524288},
                    ToneCase{"dsd-5000000.dsf", 88200, 2, kAudioChannelLayoutTag_Stereo, 5000000}),
    [](const testing::TestParamInfo<ToneCase>& info) { return testNameOf(QLatin1String(info.param.file)); });

// The filter's window: 72 bytes, 18 output frames at decimation 32. Until it
// fills, its idle start (0x69, other bits in each container's order) shows.
constexpr size_t kWindowFrames = 18;

// The largest magnitude of a stretch of frames, in dB of full scale.
double peakDB(const Pcm& pcm, size_t fromFrame, size_t toFrame)
{
    int64_t peak = 1;
    for (size_t i = fromFrame * size_t(pcm.channels); i < toFrame * size_t(pcm.channels); ++i) {
        peak = std::max<int64_t>(peak, std::abs(int64_t(pcm.samples[i]) >> 8));
    }
    return dB(double(peak) / 8388608.0);
}

TEST(DSDDecoder, DFFAndDSFOfTheSameBitsDecodeToTheSamePCM)
{
    PreferencesScope prefs;
    for (const char* name : {"dsd-tone-64-1ch", "dsd-tone-64-2ch", "dsd-tone-64-6ch", "dsd-tone-128-1ch",
                             "dsd-tone-128-2ch", "dsd-whole-blocks", "dsd-idle"}) {
        std::unique_ptr<ZTDecoder> dsf = openDSD(QLatin1String(name) + u".dsf"_s);
        std::unique_ptr<ZTDecoder> dff = openDSD(QLatin1String(name) + u".dff"_s);
        ASSERT_TRUE(dsf && dff);
        const Pcm fromDSF = decodeAll(*dsf);
        const Pcm fromDFF = decodeAll(*dff);
        ASSERT_GT(fromDSF.frames(), kWindowFrames) << name;
        ASSERT_EQ(fromDSF.frames(), fromDFF.frames()) << name;

        Pcm difference = fromDSF;
        for (size_t i = 0; i < difference.samples.size(); ++i) {
            difference.samples[i] -= fromDFF.samples[i];
        }
        EXPECT_LT(peakDB(difference, 0, kWindowFrames), -70.0) << name;
        EXPECT_EQ(peakDB(difference, kWindowFrames, difference.frames()), dB(1.0 / 8388608.0)) << name;
        if (std::strcmp(name, "dsd-idle") == 0) { // silence from the first sample
            EXPECT_LT(peakDB(fromDSF, 0, kWindowFrames), -70.0);
            EXPECT_LT(peakDB(fromDSF, kWindowFrames, fromDSF.frames()), -110.0);
        }
    }
}

// ffmpeg decodes DSD its own way (its filter, then its resampler).
TEST(DSDDecoder, AgreesWithFFmpegOnTheSameFile)
{
    PreferencesScope prefs;
    const QString path = Fixtures::generated("dsd-tone-64-2ch.dsf");
    const ToolResult ffmpeg =
        runTool("ffmpeg", {"-v", "error", "-i", path, "-ar", "88200", "-f", "s32le", "-"});
    ASSERT_EQ(ffmpeg.exitCode, 0) << ffmpeg.standardError.toStdString();
    Pcm reference;
    reference.channels = 2;
    reference.sampleRate = 88200;
    reference.samples.resize(size_t(ffmpeg.standardOutput.size()) / 4);
    std::memcpy(reference.samples.data(), ffmpeg.standardOutput.constData(), reference.samples.size() * 4);

    std::unique_ptr<ZTDecoder> decoder = openDSD(u"dsd-tone-64-2ch.dsf"_s);
    ASSERT_NE(decoder, nullptr);
    const Pcm ours = decodeAll(*decoder);
    for (int channel = 0; channel < 2; ++channel) {
        const double frequency = 1000.0 * (channel + 1);
        EXPECT_NEAR(dB(fitTone(ours, channel, frequency).amplitude /
                       fitTone(reference, channel, frequency).amplitude),
                    0.0, 0.1);
        const Alignment alignment = bestAlignment(ours, reference, 64, channel);
        EXPECT_GT(alignment.correlation, 0.999) << "channel " << channel;
    }
}

// Flat to 20 kHz at DSD64; 70 kHz, which would fold back to 18.2 kHz, is stopped.
TEST(DSDDecoder, PassesTwentyKilohertzAndStopsWhatWouldFoldBack)
{
    PreferencesScope prefs;
    std::unique_ptr<ZTDecoder> passband = openDSD(u"dsd-20k.dsf"_s);
    std::unique_ptr<ZTDecoder> stopband = openDSD(u"dsd-70k.dsf"_s);
    ASSERT_TRUE(passband && stopband);
    EXPECT_NEAR(dB(fitTone(decodeAll(*passband), 0, 20000).amplitude / 0.5), 0.0, 0.1);
    EXPECT_LT(dB(fitTone(decodeAll(*stopband), 0, 88200 - 70000).amplitude / 0.5), -100.0);
}

TEST(DSDDecoder, GainIsClampedToSixDecibelsAndClipsAtFullScale)
{
    PreferencesScope prefs;
    std::unique_ptr<ZTDecoder> plain = openDSD(u"dsd-loud.dsf"_s);
    ASSERT_NE(plain, nullptr);
    EXPECT_EQ(static_cast<DSDDecoder&>(*plain).gain(), 1.0f);
    const Pcm unscaled = decodeAll(*plain);

    // Below 0 dB means no gain; the decimation preference changes nothing.
    prefs.set(u"dsd_gain"_s, -3.0);
    prefs.set(u"dsd_decimation"_s, 8);
    std::unique_ptr<ZTDecoder> negative = openDSD(u"dsd-loud.dsf"_s);
    ASSERT_NE(negative, nullptr);
    EXPECT_EQ(static_cast<DSDDecoder&>(*negative).gain(), 1.0f);
    EXPECT_EQ(negative->decodeFormat().mSampleRate, 88200.0);
    EXPECT_EQ(countDifferences(decodeAll(*negative), unscaled), 0u);

    prefs.set(u"dsd_gain"_s, 10.0);
    std::unique_ptr<ZTDecoder> loud = openDSD(u"dsd-loud.dsf"_s);
    ASSERT_NE(loud, nullptr);
    const double gain = static_cast<DSDDecoder&>(*loud).gain();
    EXPECT_NEAR(gain, 1.99526, 1e-5);
    const Pcm scaled = decodeAll(*loud);
    ASSERT_EQ(scaled.frames(), unscaled.frames());

    // A 0.6 tone times 1.995 reaches 1.2: its peaks clip, the rest is scaled.
    size_t atFullScale = 0;
    for (size_t i = 0; i < scaled.samples.size(); ++i) {
        const double before = unscaled.samples[i] / 2147483648.0;
        const double after = scaled.samples[i] / 2147483648.0;
        if (std::abs(before) * gain >= 1.0) {
            atFullScale += after >= 8388607.0 / 8388608.0 || after == -1.0;
        } else {
            ASSERT_NEAR(after, before * gain, 2.0 / 8388608.0) << "sample " << i;
        }
    }
    EXPECT_GT(atFullScale, scaled.samples.size() / 10);
    EXPECT_LE(*std::max_element(scaled.samples.begin(), scaled.samples.end()), 8388607 << 8);
    EXPECT_EQ(*std::min_element(scaled.samples.begin(), scaled.samples.end()), -8388608 * 256);
}

TEST(KLXDSDFile, TheCountsFollowTheDecimationGiven)
{
    const QString path = Fixtures::generated("dsd-5000000.dsf");
    std::unique_ptr<KLXDSDFile> file = KLXDSDFile::initWithFilename(path, 8, nullptr);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(file->PCMSamplesPerBlock(), 4096u);
    EXPECT_EQ(file->lastBlockPCMSampleCount(), 2408u);
    EXPECT_EQ(file->totalPCMSamples(), 625000);
    try {
        KLXDSDFile::initWithFilename(path, 0, nullptr);
        ADD_FAILURE() << "a decimation of 0 was taken";
    } catch (const NamedException& e) {
        EXPECT_EQ(e.name(), kAssertionFailureName);
    }
}

TEST(KLXDSDFile, RefusesWhatItCannotDecodeWithItsMessage)
{
    ScratchDir scratch;
    // DST, DFF at DSD256, RIFF, a missing file (files cut short: DamagedHeadersAreRefused).
    for (const auto& [path, message] :
         {std::pair{Fixtures::generated("dsd-dst.dff"), "Unable To Parse DSD File"},
          {Fixtures::generated("dsd-256.dff"), "Unable To Parse DSD File"},
          {Fixtures::generated("dsd-riff.dsf"), "Not A Vaild DSD File"},
          {scratch.file("nothing.dff"), "Unable To Open File"}}) {
        const QString expected = u"DSDDecoder %1: %2"_s.arg(QLatin1String(message), path);
        KLXDSDFile::Error error;
        EXPECT_EQ(KLXDSDFile::initWithFilename(path, 32, &error), nullptr) << message;
        EXPECT_EQ(error.localizedDescription, expected);
        EXPECT_EQ(error.code, 100);
        EXPECT_TRUE(error.domain.endsWith(u".dsdfile"_s));
        // Through the factory: a null decoder and the message in the log.
        PreferencesScope prefs;
        ErrorLogCapture log;
        EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr);
        EXPECT_EQ(log.messages(), QStringList{expected});
    }
}

// Every prefix of a header, and copies with a size, count or rate zeroed,
// are refused with one line in the log, never opened.
void expectRefusedHeaders(const char* fixture, int dataStart,
                          std::initializer_list<std::pair<int, int>> fields)
{
    PreferencesScope prefs;
    ScratchDir scratch;
    const QByteArray original = fileBytes(Fixtures::generated(QLatin1String(fixture)));
    const QString path = scratch.file("damaged." + QLatin1String(fixture).right(3));
    std::vector<QByteArray> damaged;
    for (int length = 0; length <= dataStart; ++length) {
        damaged.push_back(original.left(length));
    }
    for (const auto& [offset, width] : fields) {
        damaged.push_back(QByteArray(original).replace(offset, width, QByteArray(width, '\0')));
    }
    for (const QByteArray& bytes : damaged) {
        QFile out(path);
        ASSERT_TRUE(out.open(QIODevice::WriteOnly | QIODevice::Truncate));
        out.write(bytes);
        out.close();
        ErrorLogCapture log;
        EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr) << bytes.size() << " bytes";
        ASSERT_EQ(log.messages().size(), 1);
        EXPECT_TRUE(log.messages().first().startsWith(u"DSDDecoder "_s))
            << log.messages().first().toStdString();
    }
}

TEST(KLXDSDFile, DamagedHeadersAreRefused)
{
    // The header and fmt sizes, version, channels, rate, bits per sample, block size.
    expectRefusedHeaders("dsd-tone-64-2ch.dsf", 92,
                         {{4, 8}, {32, 8}, {40, 4}, {52, 4}, {56, 4}, {60, 4}, {72, 4}});
    // The form, FVER, PROP, FS, CHNL and CMPR sizes, the rate and the channel count.
    expectRefusedHeaders("dsd-tone-64-2ch.dff", 130,
                         {{4, 8}, {20, 8}, {36, 8}, {52, 8}, {60, 4}, {68, 8}, {76, 2}, {90, 8}});
}

} // namespace
