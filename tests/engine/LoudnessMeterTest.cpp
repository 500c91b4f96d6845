// The loudness meter against ffmpeg's ebur128 filter on pink noise at three levels, alone and as an album.

#include "LoudnessMeter.h"
#include "Fixtures.h"
#include "Pcm.h"
#include "QtPrinters.h"
#include "Tools.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

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

// Pink noise of 24 bits made by sox at path.
void pinkNoise(const QString& path, int rate, int channels, const char* seconds, const char* gain)
{
    const ToolResult made =
        runTool(u"sox"_s, {"-R", "-D", "-n", "-r", QString::number(rate), "-c", QString::number(channels),
                           "-b", "24", path, "synth", seconds, "pinknoise", "gain", gain});
    ASSERT_EQ(made.exitCode, 0) << made.standardError.toStdString();
}

TEST(LoudnessMeter, TrackAndAlbumFiguresMatchAnIndependentMeter)
{
    ScratchDir scratch;
    QStringList tracks;
    std::vector<std::unique_ptr<LoudnessMeter>> meters;
    for (const char* gain : {"-3", "-12", "-24"}) {
        const QString path = scratch.file(u"noise%1.wav"_s.arg(QLatin1String(gain)));
        ASSERT_NO_FATAL_FAILURE(pinkNoise(path, 44100, 2, "20.3", gain));
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

    // The album: the tracks' audio as one (the meters leave out blocks spanning two tracks: < 0.1 dB).
    const QString album = scratch.file(u"album.wav"_s);
    ASSERT_EQ(runTool(u"sox"_s, tracks + QStringList{album}).exitCode, 0);
    const std::optional<double> albumLoudness =
        LoudnessMeter::loudness({meters[0].get(), meters[1].get(), meters[2].get()});
    ASSERT_TRUE(albumLoudness);
    const LoudnessReference whole = loudnessByFFmpeg(album);
    EXPECT_NEAR(*albumLoudness, whole.loudness, 0.1);

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
    EXPECT_EQ(LoudnessMeter::gainText(LoudnessMeter::gainFor(-11.52)), u"-6.48 dB"_s);
    EXPECT_EQ(LoudnessMeter::gainText(LoudnessMeter::gainFor(-23.0)), u"5.00 dB"_s);
    EXPECT_EQ(LoudnessMeter::gainText(-0.001), u"0.00 dB"_s);
    EXPECT_EQ(LoudnessMeter::peakText(0.9123454), u"0.912345"_s);
}

} // namespace
