#include "RingBuffer.h"

#include "NamedException.h"

#include <cerrno>
#include <algorithm>
#include <cstring>

RingBuffer::RingBuffer() : RingBuffer(kDefaultSize) {}

RingBuffer::RingBuffer(uint32_t size)
{
    ZT_REQUIRE(0 < size, "0 < size");
    m_buffer = allocateZeroed(size);
    m_bufferSize = size;
    m_readPointer = m_buffer.get();
    m_writePointer = m_buffer.get();
}

RingBuffer::Storage RingBuffer::allocateZeroed(uint32_t size)
{
    Storage storage(static_cast<uint8_t*>(std::calloc(size, 1)));
    ZT_ASSERT(storage != nullptr, QStringLiteral("Unable to allocate memory: %1").arg(QString::fromLocal8Bit(strerror(errno))));
    return storage;
}

uint32_t RingBuffer::contiguousBytesAvailable() const
{
    if (m_writePointer >= m_readPointer) {
        return uint32_t(m_writePointer - m_readPointer);
    }
    return uint32_t(storageEnd() - m_readPointer);
}

uint32_t RingBuffer::contiguousFreeSpaceAvailable() const
{
    if (m_writePointer < m_readPointer) {
        return uint32_t(m_readPointer - m_writePointer);
    }
    return uint32_t(storageEnd() - m_writePointer);
}

uint32_t RingBuffer::bytesAvailable() const
{
    if (m_writePointer >= m_readPointer) {
        return uint32_t(m_writePointer - m_readPointer);
    }
    return m_bufferSize - uint32_t(m_readPointer - m_writePointer);
}

uint32_t RingBuffer::freeSpaceAvailable() const
{
    return m_bufferSize - bytesAvailable();
}

void RingBuffer::reset()
{
    m_readPointer = m_buffer.get();
    m_writePointer = m_buffer.get();
}

void RingBuffer::normalizeBuffer()
{
    uint8_t* start = m_buffer.get();
    if (m_writePointer == m_readPointer) {
        m_readPointer = m_writePointer = start;
        return;
    }
    if (m_writePointer > m_readPointer) {
        const size_t distance = size_t(m_readPointer - start);
        std::memmove(start, m_readPointer, size_t(m_writePointer - m_readPointer));
        m_readPointer = start;
        m_writePointer -= distance;
        return;
    }
    // The data wraps: [readPointer, end) then [start, writePointer). Both runs
    // go through temporaries because each may overlap where the other lands.
    const uint32_t total = bytesAvailable();
    const uint32_t firstRun = contiguousBytesAvailable();
    Storage first = allocateZeroed(firstRun);
    std::memcpy(first.get(), m_readPointer, firstRun);
    Storage second;
    const uint32_t secondRun = total - firstRun;
    if (secondRun > 0) {
        second = allocateZeroed(secondRun);
        std::memcpy(second.get(), start, secondRun);
    }
    std::memcpy(start, first.get(), firstRun);
    if (secondRun > 0) {
        std::memcpy(start + firstRun, second.get(), secondRun);
    }
    m_readPointer = start;
    m_writePointer = start + total;
}

void RingBuffer::resize(uint32_t newSize)
{
    if (m_bufferSize >= newSize) {
        return;
    }
    normalizeBuffer();
    Storage grown = allocateZeroed(newSize);
    std::memcpy(grown.get(), m_buffer.get(), m_bufferSize);
    const ptrdiff_t readOffset = m_readPointer - m_buffer.get();
    const ptrdiff_t writeOffset = m_writePointer - m_buffer.get();
    m_buffer = std::move(grown);
    m_readPointer = m_buffer.get() + readOffset;
    m_writePointer = m_buffer.get() + writeOffset;
    m_bufferSize = newSize;
}

uint32_t RingBuffer::getData(void* buf, uint32_t byteCount)
{
    ZT_REQUIRE(nullptr != buf, "NULL != buf");
    if (byteCount == 0) {
        return 0;
    }
    byteCount = std::min(byteCount, bytesAvailable());
    auto* out = static_cast<uint8_t*>(buf);
    const uint32_t contiguous = contiguousBytesAvailable();
    if (contiguous >= byteCount) {
        std::memcpy(out, m_readPointer, byteCount);
        m_readPointer += byteCount;
    } else {
        std::memcpy(out, m_readPointer, contiguous);
        m_readPointer = m_buffer.get();
        std::memcpy(out + contiguous, m_readPointer, byteCount - contiguous);
        m_readPointer += byteCount - contiguous;
    }
    return byteCount;
}

uint32_t RingBuffer::putData(const void* data, uint32_t byteCount)
{
    ZT_REQUIRE(nullptr != data, "NULL != data");
    ZT_REQUIRE(0 < byteCount, "0 < byteCount");
    ZT_REQUIRE(freeSpaceAvailable() >= byteCount, "[self freeSpaceAvailable] >= byteCount");
    const auto* in = static_cast<const uint8_t*>(data);
    const uint32_t contiguous = contiguousFreeSpaceAvailable();
    if (contiguous >= byteCount) {
        std::memcpy(m_writePointer, in, byteCount);
        m_writePointer += byteCount;
    } else {
        std::memcpy(m_writePointer, in, contiguous);
        m_writePointer = m_buffer.get();
        std::memcpy(m_writePointer, in + contiguous, byteCount - contiguous);
        m_writePointer += byteCount - contiguous;
    }
    return byteCount;
}

const uint8_t* RingBuffer::exposeBufferForReading()
{
    normalizeBuffer();
    return m_readPointer;
}

void RingBuffer::readBytes(uint32_t byteCount)
{
    // Past the end means the caller did not normalise first; restart at the
    // beginning rather than wrapping by the excess.
    if (byteCount > uint32_t(storageEnd() - m_readPointer)) {
        m_readPointer = m_buffer.get();
    } else {
        m_readPointer += byteCount;
    }
}

uint8_t* RingBuffer::exposeBufferForWriting()
{
    normalizeBuffer();
    return m_writePointer;
}

void RingBuffer::wroteBytes(uint32_t byteCount)
{
    // Landing exactly on the end is allowed; beyond it restarts at the beginning.
    if (byteCount > uint32_t(storageEnd() - m_writePointer)) {
        m_writePointer = m_buffer.get();
    } else {
        m_writePointer += byteCount;
    }
}
