#pragma once
// Carves one fuzzer input into bytes, length-prefixed pieces and a rest; past the end gives zeros
// and empty pieces, so every input drives the target somewhere. A view: the bytes must outlive it.

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>

class FuzzData
{
public:
    FuzzData(const uint8_t* data, size_t size) : m_data(data), m_size(size) {}

    bool empty() const { return m_position >= m_size; }
    uint8_t takeByte();
    uint32_t takeUInt32();
    // Up to maxLength bytes, the length taken from the next byte (two when maxLength > 255).
    QByteArray takeBytes(size_t maxLength);
    QString takeString(size_t maxLength) { return QString::fromUtf8(takeBytes(maxLength)); }
    QByteArray takeRest();

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_position = 0;
};
