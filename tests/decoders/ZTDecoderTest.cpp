#include "NamedException.h"
#include "ZTDecoder.h"

#include <gtest/gtest.h>
#include <vector>

namespace {

// A decoder of in-memory PCM: 16-bit stereo (4 bytes a frame), handing out
// `bytesPerFill` bytes per fillPCMBuffer call, after `emptyFills` calls that
// add nothing (as a decoder meeting a header page would).
class MemoryDecoder : public ZTDecoder
{
public:
    MemoryDecoder(std::vector<uint8_t> data, uint32_t bytesPerFill, int emptyFills = 0)
        : m_data(std::move(data)), m_bytesPerFill(bytesPerFill), m_emptyFills(emptyFills)
    {
    }

    bool initWithFilename(const QString& path) override
    {
        ZTDecoder::initWithFilename(path);
        setSignedPackedFormat(44100, 2, 16, 2);
        return true;
    }

    void fillPCMBuffer() override
    {
        ++fills;
        if (m_emptyFills > 0) {
            --m_emptyFills;
            return;
        }
        const uint32_t n = std::min<uint32_t>(m_bytesPerFill, uint32_t(m_data.size() - m_position));
        if (n == 0) {
            m_isEndOfFile = true;
            return;
        }
        pcmBuffer()->putData(m_data.data() + m_position, n);
        m_position += n;
    }

    int fills = 0;

private:
    std::vector<uint8_t> m_data;
    size_t m_position = 0;
    uint32_t m_bytesPerFill;
    int m_emptyFills;
};

std::vector<uint8_t> bytes(size_t count)
{
    std::vector<uint8_t> data(count);
    for (size_t i = 0; i < count; ++i) {
        data[i] = uint8_t(i * 7);
    }
    return data;
}

// A one-buffer list over its own storage. readAudio() overwrites the byte
// size with what it delivered, so read() restores it before every call.
struct Destination
{
    std::vector<uint8_t> storage;
    AudioBufferList list;
    explicit Destination(uint32_t byteSize) : storage(byteSize)
    {
        list.mNumberBuffers = 1;
        list.mBuffers[0].mNumberChannels = 0;
        list.mBuffers[0].mDataByteSize = byteSize;
        list.mBuffers[0].mData = storage.data();
    }
    uint32_t read(ZTDecoder& decoder, uint32_t frames)
    {
        list.mBuffers[0].mDataByteSize = uint32_t(storage.size());
        return decoder.readAudio(&list, frames);
    }
};

QString reasonOfRead(ZTDecoder& decoder, AudioBufferList* list, uint32_t frames)
{
    try {
        decoder.readAudio(list, frames);
    } catch (const NamedException& e) {
        return e.reason();
    }
    return QString();
}

TEST(ZTDecoder, ReadPreconditionsAreCheckedInOrder)
{
    MemoryDecoder decoder(bytes(64), 64);
    decoder.initWithFilename(QStringLiteral("memory"));
    Destination small(8);
    AudioBufferList none;
    none.mNumberBuffers = 0;

    // A null list is reported before the zero frame count.
    EXPECT_EQ(reasonOfRead(decoder, nullptr, 0), QStringLiteral("Invalid parameter not satisfying: NULL != bufferList"));
    EXPECT_EQ(reasonOfRead(decoder, &none, 0),
              QStringLiteral("Invalid parameter not satisfying: 0 < bufferList->mNumberBuffers"));
    EXPECT_EQ(reasonOfRead(decoder, &small.list, 0), QStringLiteral("Invalid parameter not satisfying: 0 < frameCount"));
    EXPECT_EQ(reasonOfRead(decoder, &small.list, 3),
              QStringLiteral("Invalid parameter not satisfying: bufferList->mBuffers[0].mDataByteSize >= byteCount"));
    EXPECT_EQ(decoder.fills, 0) << "a refused read must not decode";
}

TEST(ZTDecoder, FillsOnceAndReturnsWhatCame)
{
    MemoryDecoder decoder(bytes(400), 12); // three frames per fill
    decoder.initWithFilename(QStringLiteral("memory"));
    Destination out(400);
    EXPECT_EQ(out.read(decoder, 10), 3u);
    EXPECT_EQ(decoder.fills, 1);
    EXPECT_EQ(out.list.mBuffers[0].mDataByteSize, 12u);
    EXPECT_EQ(out.list.mBuffers[0].mNumberChannels, 2u);
    EXPECT_EQ(decoder.currentFrame(), 3u);
    EXPECT_EQ(std::vector<uint8_t>(out.storage.begin(), out.storage.begin() + 12),
              std::vector<uint8_t>(bytes(12)));
}

TEST(ZTDecoder, DoesNotFillWhenEnoughIsBuffered)
{
    MemoryDecoder decoder(bytes(400), 40);
    decoder.initWithFilename(QStringLiteral("memory"));
    Destination out(400);
    EXPECT_EQ(out.read(decoder, 2), 2u);
    EXPECT_EQ(out.read(decoder, 8), 8u);
    EXPECT_EQ(decoder.fills, 1);
}

TEST(ZTDecoder, EmptyFillsReturnZeroWithoutEndOfFile)
{
    MemoryDecoder decoder(bytes(16), 16, 2);
    decoder.initWithFilename(QStringLiteral("memory"));
    Destination out(64);
    EXPECT_EQ(out.read(decoder, 4), 0u);
    EXPECT_FALSE(decoder.isEndOfFile());
    EXPECT_EQ(out.read(decoder, 4), 0u);
    EXPECT_EQ(out.read(decoder, 4), 4u);
}

TEST(ZTDecoder, EndDrainsWholeFramesThenReportsZeroAtEndOfFile)
{
    // 10 bytes: two whole frames and half of a third.
    MemoryDecoder decoder(bytes(10), 10);
    decoder.initWithFilename(QStringLiteral("memory"));
    Destination out(64);
    EXPECT_EQ(out.read(decoder, 4), 2u) << "the partial frame is never counted";
    EXPECT_EQ(out.list.mBuffers[0].mDataByteSize, 10u);
    EXPECT_FALSE(decoder.isEndOfFile());
    EXPECT_EQ(out.read(decoder, 4), 0u);
    EXPECT_TRUE(decoder.isEndOfFile());
    EXPECT_EQ(decoder.currentFrame(), 2u);
}

TEST(ZTDecoder, BaseDefaults)
{
    MemoryDecoder decoder({}, 0);
    decoder.initWithFilename(QStringLiteral("/music/a.wav"));
    EXPECT_EQ(decoder.totalFrames(), -1);
    EXPECT_TRUE(decoder.decodesInRealTime());
    EXPECT_FALSE(decoder.decodeToFile(QStringLiteral("/tmp/x.wav")));
    EXPECT_EQ(decoder.pcmBuffer()->size(), 32768u);
    EXPECT_EQ(decoder.inFilePath(), QStringLiteral("/music/a.wav"));
    EXPECT_EQ(decoder.channelLayout(), nullptr);
    EXPECT_FALSE(decoder.isCancelled());
    decoder.cancel();
    EXPECT_TRUE(decoder.isCancelled());
}

} // namespace
