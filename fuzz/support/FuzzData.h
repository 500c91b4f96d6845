#pragma once
// Carves one fuzzer input into the several values a target needs: single
// bytes for choices, length-prefixed pieces for texts, and the rest as one
// blob. Reading past the end gives zeros and empty pieces, never fails, so
// every input, however short, drives the target somewhere.
//
// A view on the caller's bytes: they must outlive the object. One thread.

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
    // A piece of up to maxLength bytes, its length taken from the next byte
    // (or two, when maxLength is over 255).
    QByteArray takeBytes(size_t maxLength);
    // takeBytes() read as UTF-8: invalid sequences stay in the input, so the
    // code under test meets replacement characters as it would from a tag.
    QString takeString(size_t maxLength) { return QString::fromUtf8(takeBytes(maxLength)); }
    // Whatever is left.
    QByteArray takeRest();

private:
    const uint8_t* m_data;
    size_t m_size;
    size_t m_position = 0;
};
