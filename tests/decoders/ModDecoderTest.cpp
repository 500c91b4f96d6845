// Tracker modules render at 44100 Hz stereo, for the song's length, once.

#include "ModDecoder.h"
#include "Fixtures.h"
#include "Pcm.h"
#include "Tools.h"
#include "ZTDecoder.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

std::unique_ptr<ZTDecoder> openModule(const QString& path)
{
    ErrorLogCapture log;
    auto decoder = ZTDecoder::decoderWithFilename(path);
    EXPECT_NE(decoder, nullptr) << log.messages().join(u'\n').toStdString();
    if (decoder) {
        EXPECT_EQ(decoder->className(), u"ModDecoder"_s);
        expectPackedFormat(*decoder, 44100, 2, 16, 2, kAudioChannelLayoutTag_Stereo);
    }
    return decoder;
}

double peak(const Pcm& pcm)
{
    int64_t highest = 0;
    for (int32_t s : pcm.samples) {
        highest = std::max<int64_t>(highest, std::llabs(int64_t(s)));
    }
    return double(highest) / 2147483648.0;
}

// libmodplug notices the song's end only at the render after it, so the
// last ring buffer (8192 frames) is rendered whole, and a little more.
constexpr double kRenderedBeyondTheEnd = 2 * 8192;

// 247 rows of 500 ms: 123.5 s, 5446350 frames, all of them rendered; a song
// that jumps back to its first order (two patterns of 64 rows, 6 ticks of
// 882 frames each) plays once and ends. The length libmodplug states is in
// whole seconds.
TEST(ModDecoder, RendersTheSongsLengthOnce)
{
    EXPECT_EQ(ModDecoder::framesOfLength(123500), 5446350);
    for (const auto& [file, frames] :
         {std::pair{"codec-123.5s.mod", 5446350.0}, std::pair{"codec-loop.mod", 2.0 * 64 * 6 * 882}}) {
        auto decoder = openModule(Fixtures::generated(file));
        ASSERT_NE(decoder, nullptr);
        EXPECT_NEAR(double(decoder->totalFrames()), frames, 44100 / 2) << file;
        const Pcm pcm = decodeAll(*decoder, 8192);
        EXPECT_GE(double(pcm.frames()), frames) << file;
        EXPECT_LE(double(pcm.frames()), frames + kRenderedBeyondTheEnd) << file;
        EXPECT_GT(peak(pcm), 0.05) << file;
    }
}

TEST(ModDecoder, AFileNoLoaderTakesIsLogged)
{
    const QString path = Fixtures::generated("codec-broken.mod");
    ErrorLogCapture log;
    EXPECT_EQ(ZTDecoder::decoderWithFilename(path), nullptr);
    EXPECT_EQ(log.messages(), QStringList{u"ModDecoder ModPlug_Load Failed!  File: "_s + path});
    // The module lock was given back: the next module opens.
    EXPECT_NE(ZTDecoder::decoderWithFilename(Fixtures::generated("codec-loop.mod")), nullptr);
}

} // namespace
