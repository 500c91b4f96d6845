#pragma once
// The channel-layout chunk of AIFF ("CHAN") and CAF ("chan") files: a
// big-endian layout record of tag, bitmap, description count and 20-byte
// descriptions (label, flags, three float coordinates).
//
// libsndfile's own reading of this chunk copies past the end of its channel
// map for some tags (MPEG_4_0_A among them), so the layout of these two
// containers is read here from the chunk's bytes.
//
// Parsing never reads past the given bytes; pure, callable from any thread.

#include "CoreAudioTypes.h"

#include <QByteArray>
#include <optional>

class ChannelLayoutChunk
{
public:
    // The layout the chunk describes for a file of `channels` channels, or
    // nothing when the chunk is too short, its tag names another channel
    // count, or it promises more descriptions than it holds or than the file
    // has channels.
    static std::optional<AudioChannelLayout> parse(const QByteArray& chunk, uint32_t channels);
};
