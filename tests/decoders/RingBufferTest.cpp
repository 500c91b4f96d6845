// The ring buffer, and readAudio(), which every decoder inherits: their checks and sizes.

#include "RingBuffer.h"
#include "Fixtures.h"
#include "NamedException.h"
#include "ZTDecoder.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

std::vector<uint8_t> sequence(size_t count, uint8_t first)
{
    std::vector<uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

// Runs f and returns the reason of the NamedException it raises.
template <class F> QString reasonOf(F f)
{
    try {
        f();
    } catch (const NamedException& e) {
        return e.reason();
    }
    return u"<no exception>"_s;
}

TEST(RingBuffer, PreconditionsRaiseTheirConditionText)
{
    EXPECT_EQ(reasonOf([] { RingBuffer ring(0); }), u"Invalid parameter not satisfying: 0 < size"_s);
    RingBuffer ring(8);
    uint8_t byte = 0;
    EXPECT_EQ(reasonOf([&] { ring.getData(nullptr, 1); }),
              u"Invalid parameter not satisfying: NULL != buf"_s);
    EXPECT_EQ(reasonOf([&] { ring.putData(nullptr, 1); }),
              u"Invalid parameter not satisfying: NULL != data"_s);
    EXPECT_EQ(reasonOf([&] { ring.putData(&byte, 0); }),
              u"Invalid parameter not satisfying: 0 < byteCount"_s);
    const std::vector<uint8_t> tooMuch(9);
    EXPECT_EQ(reasonOf([&] { ring.putData(tooMuch.data(), 9); }),
              u"Invalid parameter not satisfying: [self freeSpaceAvailable] >= byteCount"_s);
    EXPECT_EQ(ring.bytesAvailable(), 0u) << "a refused write changes nothing";
}

// Writers stay one byte below the free space when wrapping: a wrapped write
// that fills the storage exactly reads as empty (kept as it always was).
// Filling up to the storage's end without wrapping works; the storage never
// shrinks, and reset keeps it.
TEST(RingBuffer, FillingToTheBrimResizingAndReset)
{
    RingBuffer ring(16);
    std::vector<uint8_t> out(16);
    ring.putData(sequence(10, 0).data(), 10);
    ring.getData(out.data(), 6);
    ring.putData(sequence(12, 0).data(), 12);
    EXPECT_EQ(ring.bytesAvailable(), 0u);
    EXPECT_EQ(ring.freeSpaceAvailable(), 16u);

    ring.reset();
    ring.putData(sequence(6, 0).data(), 6);
    ring.getData(out.data(), 4);
    uint8_t* write = ring.exposeBufferForWriting();
    ASSERT_EQ(ring.freeSpaceAvailable(), 14u);
    std::copy_n(sequence(14, 200).begin(), 14, write);
    ring.wroteBytes(14);
    EXPECT_EQ(ring.bytesAvailable(), 16u);
    const uint8_t* read = ring.exposeBufferForReading();
    EXPECT_EQ(read[0], 4);
    EXPECT_EQ(read[2], 200);

    ring.resize(8);
    EXPECT_EQ(ring.size(), 16u);
    EXPECT_EQ(ring.getData(out.data(), 16), 16u);
    EXPECT_EQ(out[15], 213);
    ring.resize(32);
    ring.reset();
    EXPECT_EQ(ring.bytesAvailable(), 0u);
    EXPECT_EQ(ring.size(), 32u);
    EXPECT_EQ(ring.contiguousFreeSpaceAvailable(), 32u);
}

// Long random traffic against a simple queue model: both access styles and
// growth, with the data wrapped around the end of the storage at any point.
TEST(RingBuffer, RandomTrafficMatchesAQueue)
{
    RingBuffer ring(97);
    std::vector<uint8_t> model;
    uint32_t seed = 12345;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7FFF; };
    uint8_t counter = 0;
    for (int step = 0; step < 20000; ++step) {
        const uint32_t op = next() % 400;
        const uint32_t free = ring.freeSpaceAvailable();
        // Stay one byte below the free space, as writers must.
        const uint32_t n = free > 1 ? 1 + next() % (free - 1) : 0;
        std::vector<uint8_t> out(ring.size());
        if (op < 100 && n > 0) {
            std::vector<uint8_t> data(n);
            for (auto& b : data) {
                b = counter++;
            }
            ring.putData(data.data(), n);
            model.insert(model.end(), data.begin(), data.end());
        } else if (op < 200 && n > 0) {
            uint8_t* write = ring.exposeBufferForWriting();
            for (uint32_t i = 0; i < n; ++i) {
                write[i] = counter;
                model.push_back(counter++);
            }
            ring.wroteBytes(n);
        } else if (op < 300) {
            const uint32_t want = next() % (ring.size() + 1);
            const uint32_t got = ring.getData(out.data(), want);
            ASSERT_EQ(got, std::min<uint32_t>(want, uint32_t(model.size())));
            ASSERT_TRUE(std::equal(out.begin(), out.begin() + got, model.begin()));
            model.erase(model.begin(), model.begin() + got);
        } else if (op < 399) {
            const uint8_t* read = ring.exposeBufferForReading();
            const uint32_t want = std::min<uint32_t>(next() % (ring.size() + 1), ring.bytesAvailable());
            ASSERT_TRUE(std::equal(read, read + want, model.begin()));
            ring.readBytes(want);
            model.erase(model.begin(), model.begin() + want);
        } else if (ring.size() < 300) {
            ring.resize(ring.size() + 1 + next() % 32);
        }
        ASSERT_EQ(ring.bytesAvailable(), model.size()) << "at step " << step;
    }
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
    const auto reasonOfRead = [&](AudioBufferList* list, uint32_t frames) {
        return reasonOf([&] { decoder->readAudio(list, frames); });
    };
    const QString tooSmall =
        u"Invalid parameter not satisfying: bufferList->mBuffers[0].mDataByteSize >= byteCount"_s;
    EXPECT_EQ(reasonOfRead(nullptr, 0), u"Invalid parameter not satisfying: NULL != bufferList"_s);
    EXPECT_EQ(reasonOfRead(&none, 0), u"Invalid parameter not satisfying: 0 < bufferList->mNumberBuffers"_s);
    EXPECT_EQ(reasonOfRead(&small, 0), u"Invalid parameter not satisfying: 0 < frameCount"_s);
    EXPECT_EQ(reasonOfRead(&small, 3), tooSmall);
    EXPECT_EQ(decoder->pcmBuffer()->bytesAvailable(), 0u) << "a refused read must not decode";

    // The byte size becomes what was delivered: a caller must offer its whole buffer again.
    small.mBuffers[0].mDataByteSize = uint32_t(storage.size());
    EXPECT_EQ(decoder->readAudio(&small, 2), 2u);
    EXPECT_EQ(small.mBuffers[0].mDataByteSize, 8u);
    EXPECT_EQ(small.mBuffers[0].mNumberChannels, 2u);
    EXPECT_EQ(reasonOfRead(&small, 3), tooSmall);
    small.mBuffers[0].mDataByteSize = uint32_t(storage.size());
    EXPECT_EQ(decoder->readAudio(&small, 16), 16u);
    EXPECT_EQ(small.mBuffers[0].mDataByteSize, 64u);
    EXPECT_EQ(decoder->currentFrame(), 18u);
}

} // namespace
