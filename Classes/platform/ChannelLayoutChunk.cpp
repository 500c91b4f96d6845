#include "ChannelLayoutChunk.h"

#include <QtEndian>
#include <bit>

namespace {

constexpr qsizetype kHeaderSize = 12;
constexpr qsizetype kDescriptionSize = 20;

uint32_t word(const QByteArray& bytes, qsizetype offset)
{
    return qFromBigEndian<quint32>(bytes.constData() + offset);
}

} // namespace

std::optional<AudioChannelLayout> ChannelLayoutChunk::parse(const QByteArray& chunk, uint32_t channels)
{
    if (chunk.size() < kHeaderSize || channels == 0) {
        return std::nullopt;
    }
    AudioChannelLayout layout;
    layout.mChannelLayoutTag = word(chunk, 0);
    layout.mChannelBitmap = word(chunk, 4);
    const uint32_t described = word(chunk, 8);

    if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelDescriptions) {
        // Compare in 64 bits: a count near 2^32 must not wrap into a fit.
        if (described != channels ||
            kHeaderSize + int64_t(described) * kDescriptionSize > int64_t(chunk.size())) {
            return std::nullopt;
        }
        for (uint32_t i = 0; i < described; ++i) {
            const qsizetype at = kHeaderSize + qsizetype(i) * kDescriptionSize;
            AudioChannelDescription description;
            description.mChannelLabel = word(chunk, at);
            description.mChannelFlags = word(chunk, at + 4);
            for (int c = 0; c < 3; ++c) {
                description.mCoordinates[c] = std::bit_cast<float>(word(chunk, at + 8 + 4 * c));
            }
            layout.mChannelDescriptions.push_back(description);
        }
        return layout;
    }
    if (layout.mChannelLayoutTag == kAudioChannelLayoutTag_UseChannelBitmap) {
        if (uint32_t(std::popcount(layout.mChannelBitmap)) != channels) {
            return std::nullopt;
        }
        return layout;
    }
    if (channelCountOfLayoutTag(layout.mChannelLayoutTag) != channels) {
        return std::nullopt;
    }
    return layout;
}
