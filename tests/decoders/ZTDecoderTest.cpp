// readAudio(), which every decoder inherits: its checks in their order, and
// the sizes a read reports back through the buffer list.

#include "ZTDecoder.h"
#include "Fixtures.h"
#include "NamedException.h"

#include <gtest/gtest.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QString reasonOfRead(ZTDecoder& decoder, AudioBufferList* list, uint32_t frames)
{
    try {
        decoder.readAudio(list, frames);
    } catch (const NamedException& e) {
        return e.reason();
    }
    return QString();
}

TEST(ZTDecoder, ReadChecksItsArgumentsInOrderAndReportsWhatItDelivered)
{
    // 16-bit stereo: 4 bytes a frame.
    auto decoder = ZTDecoder::decoderWithFilename(Fixtures::generated("dec-16-2ch.flac"));
    ASSERT_NE(decoder, nullptr);
    std::vector<uint8_t> storage(64);
    AudioBufferList small;
    small.mNumberBuffers = 1;
    small.mBuffers[0] = AudioBuffer{0, 8, storage.data()};
    AudioBufferList none;
    none.mNumberBuffers = 0;

    // A null list is reported before the zero frame count.
    EXPECT_EQ(reasonOfRead(*decoder, nullptr, 0), u"Invalid parameter not satisfying: NULL != bufferList"_s);
    EXPECT_EQ(reasonOfRead(*decoder, &none, 0),
              u"Invalid parameter not satisfying: 0 < bufferList->mNumberBuffers"_s);
    EXPECT_EQ(reasonOfRead(*decoder, &small, 0), u"Invalid parameter not satisfying: 0 < frameCount"_s);
    EXPECT_EQ(reasonOfRead(*decoder, &small, 3),
              QStringLiteral(
                  "Invalid parameter not satisfying: bufferList->mBuffers[0].mDataByteSize >= byteCount"));
    EXPECT_EQ(decoder->pcmBuffer()->bytesAvailable(), 0u) << "a refused read must not decode";

    // The list's byte size becomes what was delivered, so a caller reading
    // again must offer its whole buffer again.
    small.mBuffers[0].mDataByteSize = uint32_t(storage.size());
    EXPECT_EQ(decoder->readAudio(&small, 2), 2u);
    EXPECT_EQ(small.mBuffers[0].mDataByteSize, 8u);
    EXPECT_EQ(small.mBuffers[0].mNumberChannels, 2u);
    EXPECT_EQ(reasonOfRead(*decoder, &small, 3),
              QStringLiteral(
                  "Invalid parameter not satisfying: bufferList->mBuffers[0].mDataByteSize >= byteCount"));
    small.mBuffers[0].mDataByteSize = uint32_t(storage.size());
    EXPECT_EQ(decoder->readAudio(&small, 16), 16u);
    EXPECT_EQ(small.mBuffers[0].mDataByteSize, 64u);
    EXPECT_EQ(decoder->currentFrame(), 18u);
}

} // namespace
