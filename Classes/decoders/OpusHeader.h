#pragma once
// The identification header of an Ogg Opus stream ("OpusHead"): channel
// count, pre-skip, the encoder's input rate, output gain and the channel
// mapping onto the coded streams.
//
// A value type; parse() is a pure function, callable from any thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

struct OpusHeader
{
    int version = 0;
    int channels = 0;
    int preskip = 0; // samples at 48 kHz
    uint32_t inputSampleRate = 0;
    int gain = 0; // Q7.8 dB
    int channelMapping = 0;
    int nbStreams = 0;
    int nbCoupled = 0;
    std::array<unsigned char, 255> streamMap{};

    // The header in packet, or nothing when it is not a valid identification
    // header (wrong magic, an unknown major version, no channels, a mapping
    // that names streams that do not exist, a short packet).
    static std::optional<OpusHeader> parse(const unsigned char* packet, size_t length);
};
