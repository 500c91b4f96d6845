#pragma once
// The byte FIFO between a decoder and its reader.
//
// Two ways in and out: copying (putData / getData), and zero-copy
// (exposeBufferForWriting + wroteBytes, exposeBufferForReading + readBytes),
// which first makes the readable bytes and the free space one contiguous run
// each, so that a decoder can decode straight into the storage.
//
// Not thread-safe: one decoder uses it on one thread. It grows only when
// asked (resize). Broken preconditions raise an assertion failure
// (NamedException) with the text "Invalid parameter not satisfying: ...".
//
// A putData that wraps around the end and fills the free space exactly leaves
// the write pointer on the read pointer, and the buffer then reads as empty.
// That is how the buffer has always behaved and callers rely on staying below
// the full free space when their data wraps; it is kept on purpose.

#include <cstdint>
#include <cstdlib>
#include <memory>

class RingBuffer
{
public:
    static constexpr uint32_t kDefaultSize = 32768;

    RingBuffer(); // kDefaultSize bytes
    explicit RingBuffer(uint32_t size);
    RingBuffer(const RingBuffer&) = delete;
    RingBuffer& operator=(const RingBuffer&) = delete;

    uint32_t contiguousBytesAvailable() const;
    uint32_t contiguousFreeSpaceAvailable() const;
    // Moves the readable bytes to the start of the storage.
    void normalizeBuffer();

    uint32_t freeSpaceAvailable() const;
    uint32_t bytesAvailable() const;
    // Drops the data, keeps the storage.
    void reset();
    uint32_t size() const { return m_bufferSize; }
    // Grows the storage to newSize bytes, keeping the data; never shrinks.
    void resize(uint32_t newSize);

    // Copies up to byteCount bytes out; returns how many came.
    uint32_t getData(void* buf, uint32_t byteCount);
    // Copies byteCount bytes in; byteCount must fit in the free space.
    uint32_t putData(const void* data, uint32_t byteCount);

    // Normalises and returns the first readable byte; read up to
    // bytesAvailable() bytes, then call readBytes() with the count.
    const uint8_t* exposeBufferForReading();
    void readBytes(uint32_t byteCount);
    // Normalises and returns the first free byte; write up to
    // freeSpaceAvailable() bytes, then call wroteBytes() with the count.
    uint8_t* exposeBufferForWriting();
    void wroteBytes(uint32_t byteCount);

private:
    struct FreeDeleter
    {
        void operator()(uint8_t* p) const { std::free(p); }
    };
    using Storage = std::unique_ptr<uint8_t, FreeDeleter>;

    static Storage allocateZeroed(uint32_t size);
    uint8_t* storageEnd() const { return m_buffer.get() + m_bufferSize; }

    Storage m_buffer;
    uint32_t m_bufferSize = 0;
    uint8_t* m_readPointer = nullptr;
    uint8_t* m_writePointer = nullptr;
};
