#include "NamedException.h"
#include "RingBuffer.h"

#include <gtest/gtest.h>
#include <numeric>
#include <vector>

namespace {

std::vector<uint8_t> sequence(size_t count, uint8_t first)
{
    std::vector<uint8_t> bytes(count);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

// Runs f and returns the reason of the NamedException it raises.
template <class F>
QString reasonOf(F f)
{
    try {
        f();
    } catch (const NamedException& e) {
        return e.reason();
    }
    return QStringLiteral("<no exception>");
}

// A 16-byte buffer holding `held` bytes that wrap around its end: 12 bytes
// written, 8 read, then the rest written.
struct WrappedBuffer
{
    RingBuffer ring{16};
    std::vector<uint8_t> expected;

    explicit WrappedBuffer(uint32_t held)
    {
        std::vector<uint8_t> scratch(16);
        ring.putData(sequence(12, 0).data(), 12);
        ring.getData(scratch.data(), 8);
        const std::vector<uint8_t> tail = sequence(held - 4, 100);
        ring.putData(tail.data(), uint32_t(tail.size()));
        expected = sequence(4, 8);
        expected.insert(expected.end(), tail.begin(), tail.end());
    }
};

TEST(RingBuffer, DefaultSizeIs32768AndStartsEmpty)
{
    RingBuffer ring;
    EXPECT_EQ(ring.size(), 32768u);
    EXPECT_EQ(ring.bytesAvailable(), 0u);
    EXPECT_EQ(ring.freeSpaceAvailable(), 32768u);
}

TEST(RingBuffer, PreconditionsRaiseTheirConditionText)
{
    EXPECT_EQ(reasonOf([] { RingBuffer ring(0); }), QStringLiteral("Invalid parameter not satisfying: 0 < size"));
    RingBuffer ring(8);
    uint8_t byte = 0;
    EXPECT_EQ(reasonOf([&] { ring.getData(nullptr, 1); }),
              QStringLiteral("Invalid parameter not satisfying: NULL != buf"));
    EXPECT_EQ(reasonOf([&] { ring.putData(nullptr, 1); }),
              QStringLiteral("Invalid parameter not satisfying: NULL != data"));
    EXPECT_EQ(reasonOf([&] { ring.putData(&byte, 0); }),
              QStringLiteral("Invalid parameter not satisfying: 0 < byteCount"));
    const std::vector<uint8_t> tooMuch(9);
    EXPECT_EQ(reasonOf([&] { ring.putData(tooMuch.data(), 9); }),
              QStringLiteral("Invalid parameter not satisfying: [self freeSpaceAvailable] >= byteCount"));
    EXPECT_EQ(ring.bytesAvailable(), 0u) << "a refused write changes nothing";
}

TEST(RingBuffer, WrappedWritesReadBackInOrder)
{
    RingBuffer ring(16);
    std::vector<uint8_t> out(16);
    ring.putData(sequence(10, 0).data(), 10);
    ASSERT_EQ(ring.getData(out.data(), 4), 4u);
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 4), sequence(4, 0));

    // 6 bytes to the end of the storage, then 3 from its start.
    ring.putData(sequence(9, 10).data(), 9);
    EXPECT_EQ(ring.bytesAvailable(), 15u);
    EXPECT_EQ(ring.contiguousBytesAvailable(), 12u);
    ASSERT_EQ(ring.getData(out.data(), 15), 15u);
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 15), sequence(15, 4));
    EXPECT_EQ(ring.bytesAvailable(), 0u);
}

TEST(RingBuffer, GetDataGivesWhatIsThereAndZeroForZero)
{
    RingBuffer ring(16);
    std::vector<uint8_t> out(16, 0xEE);
    ring.putData(sequence(5, 1).data(), 5);
    EXPECT_EQ(ring.getData(out.data(), 0), 0u);
    EXPECT_EQ(ring.bytesAvailable(), 5u) << "a zero-byte read must not move the read pointer";
    EXPECT_EQ(ring.getData(out.data(), 16), 5u);
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 5), sequence(5, 1));
    EXPECT_EQ(out[5], 0xEE) << "nothing is copied beyond what was available";
}

TEST(RingBuffer, ExactFillAfterWrapReadsAsEmpty)
{
    // Kept on purpose: writers stay below the full free space when wrapping.
    RingBuffer ring(16);
    std::vector<uint8_t> out(16);
    ring.putData(sequence(10, 0).data(), 10);
    ring.getData(out.data(), 6);
    ring.putData(sequence(12, 0).data(), 12);
    EXPECT_EQ(ring.bytesAvailable(), 0u);
    EXPECT_EQ(ring.freeSpaceAvailable(), 16u);
}

TEST(RingBuffer, ExposeForWritingNormalisesWrappedData)
{
    WrappedBuffer wrapped(10);
    const uint8_t* before = wrapped.ring.exposeBufferForReading();
    uint8_t* write = wrapped.ring.exposeBufferForWriting();
    EXPECT_EQ(write - before, ptrdiff_t(wrapped.ring.bytesAvailable()));
    EXPECT_EQ(wrapped.ring.contiguousBytesAvailable(), 10u);
    EXPECT_EQ(wrapped.ring.contiguousFreeSpaceAvailable(), 6u);
    EXPECT_EQ(std::vector<uint8_t>(before, before + 10), wrapped.expected);
}

TEST(RingBuffer, ZeroCopyRoundTripAndFillingToSize)
{
    RingBuffer ring(16);
    std::vector<uint8_t> out(16);
    ring.putData(sequence(6, 0).data(), 6);
    ring.getData(out.data(), 4);
    uint8_t* write = ring.exposeBufferForWriting();
    const uint32_t room = ring.freeSpaceAvailable();
    ASSERT_EQ(room, 14u);
    for (uint32_t i = 0; i < room; ++i) {
        write[i] = uint8_t(200 + i);
    }
    ring.wroteBytes(room);
    EXPECT_EQ(ring.bytesAvailable(), ring.size()) << "landing on the storage end is kept, not wrapped";

    const uint8_t* read = ring.exposeBufferForReading();
    EXPECT_EQ(read[0], 4);
    EXPECT_EQ(read[2], 200);
    ring.readBytes(16);
    EXPECT_EQ(ring.contiguousBytesAvailable(), 0u);
}

TEST(RingBuffer, ResizeGrowsKeepingWrappedDataAndNeverShrinks)
{
    WrappedBuffer wrapped(12);
    wrapped.ring.resize(8);
    EXPECT_EQ(wrapped.ring.size(), 16u);
    wrapped.ring.resize(64);
    EXPECT_EQ(wrapped.ring.size(), 64u);
    EXPECT_EQ(wrapped.ring.freeSpaceAvailable(), 52u);
    std::vector<uint8_t> out(64);
    ASSERT_EQ(wrapped.ring.getData(out.data(), 64), 12u);
    EXPECT_EQ(std::vector<uint8_t>(out.begin(), out.begin() + 12), wrapped.expected);
}

TEST(RingBuffer, ResetDropsTheDataKeepsTheStorage)
{
    RingBuffer ring(16);
    ring.putData(sequence(7, 0).data(), 7);
    ring.resize(32);
    ring.reset();
    EXPECT_EQ(ring.bytesAvailable(), 0u);
    EXPECT_EQ(ring.size(), 32u);
    EXPECT_EQ(ring.contiguousFreeSpaceAvailable(), 32u);
}

// Long random traffic against a simple queue model, both access styles mixed.
TEST(RingBuffer, RandomTrafficMatchesAQueue)
{
    RingBuffer ring(97);
    std::vector<uint8_t> model;
    uint32_t seed = 12345;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u, (seed >> 16) & 0x7FFF; };
    uint8_t counter = 0;
    for (int step = 0; step < 20000; ++step) {
        const uint32_t op = next() % 4;
        const uint32_t free = ring.freeSpaceAvailable();
        // Stay one byte below the free space, as writers must.
        const uint32_t n = free > 1 ? 1 + next() % (free - 1) : 0;
        if (op == 0 && n > 0) {
            std::vector<uint8_t> data(n);
            for (auto& b : data) {
                b = counter++;
            }
            ring.putData(data.data(), n);
            model.insert(model.end(), data.begin(), data.end());
        } else if (op == 1 && n > 0) {
            uint8_t* write = ring.exposeBufferForWriting();
            for (uint32_t i = 0; i < n; ++i) {
                write[i] = counter;
                model.push_back(counter++);
            }
            ring.wroteBytes(n);
        } else if (op == 2) {
            std::vector<uint8_t> out(97);
            const uint32_t want = next() % 98;
            const uint32_t got = ring.getData(out.data(), want);
            ASSERT_EQ(got, std::min<uint32_t>(want, uint32_t(model.size())));
            ASSERT_TRUE(std::equal(out.begin(), out.begin() + got, model.begin()));
            model.erase(model.begin(), model.begin() + got);
        } else {
            const uint8_t* read = ring.exposeBufferForReading();
            const uint32_t want = std::min<uint32_t>(next() % 98, ring.bytesAvailable());
            ASSERT_TRUE(std::equal(read, read + want, model.begin()));
            ring.readBytes(want);
            model.erase(model.begin(), model.begin() + want);
        }
        ASSERT_EQ(ring.bytesAvailable(), model.size()) << "at step " << step;
    }
}

} // namespace
