// The loudness meter against an independent one: ffmpeg's ebur128 filter
// with sample peaks, on pink noise at three levels, alone and as an album,
// and in one channel at another rate.

#include "LoudnessMeter.h"
#include "Fixtures.h"
#include "Pcm.h"
#include "QtPrinters.h"
#include "Tools.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

// The meter fed as the encoder is: planar channels, in chunks.
void feed(LoudnessMeter& meter, const Pcm& pcm)
{
    std::vector<int> left(pcm.frames()), right(pcm.frames());
    for (size_t i = 0; i < pcm.frames(); ++i) {
        left[i] = pcm.samples[i * 2];
        right[i] = pcm.samples[i * 2 + 1];
    }
    for (size_t at = 0; at < pcm.frames(); at += 1152) {
        const size_t frames = std::min<size_t>(1152, pcm.frames() - at);
        meter.add(left.data() + at, right.data() + at, frames);
    }
}

TEST(LoudnessMeter, TrackAndAlbumFiguresMatchAnIndependentMeter)
{
    ScratchDir scratch;
    QStringList tracks;
    std::vector<std::unique_ptr<LoudnessMeter>> meters;
    for (const char* gain : {"-3", "-12", "-24"}) {
        const QString path = scratch.file(QStringLiteral("noise%1.wav").arg(QLatin1String(gain)));
        const ToolResult made =
            runTool(QStringLiteral("sox"),
                    {QStringLiteral("-R"), QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"),
                     QStringLiteral("44100"), QStringLiteral("-c"), QStringLiteral("2"), QStringLiteral("-b"),
                     QStringLiteral("24"), path, QStringLiteral("synth"), QStringLiteral("20.3"),
                     QStringLiteral("pinknoise"), QStringLiteral("gain"), QLatin1String(gain)});
        ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
        tracks << path;

        auto meter = std::make_unique<LoudnessMeter>(2, 44100);
        ASSERT_TRUE(meter->valid());
        const Pcm pcm = decodeWithFFmpeg(path);
        ASSERT_EQ(pcm.frames(), size_t(20.3 * 44100)) << gain;
        feed(*meter, pcm);
        const LoudnessReference reference = loudnessByFFmpeg(path);
        ASSERT_TRUE(meter->loudness()) << gain;
        EXPECT_NEAR(*meter->loudness(), reference.loudness, 0.1) << gain;
        EXPECT_NEAR(meter->samplePeak(), reference.peak, 0.01) << gain;
        meters.push_back(std::move(meter));
    }

    // The album: the three tracks' audio as one. (The meters leave out the
    // blocks that would span two tracks: on tracks of 20 s that moves the
    // figure by hundredths of a dB, on real tracks by less.)
    const QString album = scratch.file(QStringLiteral("album.wav"));
    ASSERT_EQ(runTool(QStringLiteral("sox"), tracks + QStringList{album}).exitCode, 0);
    const std::optional<double> albumLoudness =
        LoudnessMeter::loudness({meters[0].get(), meters[1].get(), meters[2].get()});
    ASSERT_TRUE(albumLoudness);
    const LoudnessReference whole = loudnessByFFmpeg(album);
    EXPECT_NEAR(*albumLoudness, whole.loudness, 0.1);

    // One channel, at another rate.
    const QString mono = scratch.file(QStringLiteral("mono.wav"));
    ASSERT_EQ(runTool(QStringLiteral("sox"),
                      {QStringLiteral("-R"), QStringLiteral("-D"), QStringLiteral("-n"), QStringLiteral("-r"),
                       QStringLiteral("48000"), QStringLiteral("-c"), QStringLiteral("1"), mono,
                       QStringLiteral("synth"), QStringLiteral("10"), QStringLiteral("pinknoise"),
                       QStringLiteral("gain"), QStringLiteral("-9")})
                  .exitCode,
              0);
    const Pcm monoPcm = decodeWithFFmpeg(mono);
    LoudnessMeter monoMeter(1, 48000);
    monoMeter.add(monoPcm.samples.data(), nullptr, monoPcm.frames());
    const LoudnessReference monoReference = loudnessByFFmpeg(mono);
    ASSERT_TRUE(monoMeter.loudness());
    EXPECT_NEAR(*monoMeter.loudness(), monoReference.loudness, 0.1);
    EXPECT_NEAR(monoMeter.samplePeak(), monoReference.peak, 0.01);

    // Silence has no loudness to level.
    LoudnessMeter silent(1, 48000);
    const std::vector<short> zeros(48000 * 5, 0);
    silent.add(zeros.data(), nullptr, zeros.size());
    EXPECT_FALSE(silent.loudness());
    EXPECT_EQ(silent.samplePeak(), 0.0);
    EXPECT_FALSE(LoudnessMeter(0, 44100).valid());
}

TEST(LoudnessMeter, TagTextsHaveTheFormsPlayersRead)
{
    EXPECT_EQ(LoudnessMeter::gainText(LoudnessMeter::gainFor(-11.52)), QStringLiteral("-6.48 dB"));
    EXPECT_EQ(LoudnessMeter::gainText(LoudnessMeter::gainFor(-23.0)), QStringLiteral("5.00 dB"));
    EXPECT_EQ(LoudnessMeter::gainText(-0.001), QStringLiteral("0.00 dB"));
    EXPECT_EQ(LoudnessMeter::peakText(0.9123454), QStringLiteral("0.912345"));
}

} // namespace
