#include "FuzzData.h"

#include <algorithm>

uint8_t FuzzData::takeByte()
{
    return m_position < m_size ? m_data[m_position++] : 0;
}

uint32_t FuzzData::takeUInt32()
{
    uint32_t value = 0;
    for (int i = 0; i < 4; ++i)
        value = value << 8 | takeByte();
    return value;
}

QByteArray FuzzData::takeBytes(size_t maxLength)
{
    size_t length = takeByte();
    if (maxLength > 255)
        length = length << 8 | takeByte();
    length = std::min({length, maxLength, m_size - std::min(m_position, m_size)});
    const QByteArray piece(reinterpret_cast<const char*>(m_data + m_position), qsizetype(length));
    m_position += length;
    return piece;
}

QByteArray FuzzData::takeRest()
{
    if (m_position >= m_size) {
        return {};
    }
    const QByteArray rest(reinterpret_cast<const char*>(m_data + m_position), qsizetype(m_size - m_position));
    m_position = m_size;
    return rest;
}
