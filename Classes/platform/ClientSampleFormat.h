#pragma once
// The interleaved signed-integer PCM a reader of the platform's audio files
// hands to its client, and the conversion into it.
//
// Accepted client formats: linear PCM, signed integer, packed, interleaved,
// little-endian, with the file's sample rate and channel count, and one of
//   8 bits in 1 byte, 16 in 2, 24 in 3 (packed), 32 in 4, and
//   20 bits in 2 bytes: the 16 most significant bits of each 20-bit sample
//   (the width the ALAC decoder asks for 20-bit sources).
// Conversion starts from 32-bit samples whose most significant bit is the
// source's (a 16-bit sample s arrives as s << 16) and rounds to the nearest
// value of the client width, saturating at full scale. Samples whose source
// width fits the client width therefore come out bit for bit.
//
// Value type; no threads of its own.

#include "AudioFileStatus.h"
#include "CoreAudioTypes.h"

#include <cstddef>
#include <cstdint>

class ClientSampleFormat
{
public:
    // noErr when client can be delivered for a file of fileFormat, otherwise
    // kAudioConverterErr_FormatNotSupported.
    static OSStatus check(const AudioStreamBasicDescription& client,
                          const AudioStreamBasicDescription& fileFormat);

    // client must have passed check().
    explicit ClientSampleFormat(const AudioStreamBasicDescription& client);

    uint32_t bytesPerSample() const { return m_bytesPerSample; }
    uint32_t bytesPerFrame() const { return m_bytesPerSample * m_channels; }
    uint32_t channels() const { return m_channels; }

    // Writes count samples to out (count × bytesPerSample() bytes). For
    // 4-byte clients in and out may be the same memory.
    void write(const int32_t* in, size_t count, void* out) const;

    // A floating-point sample (full scale ±1.0) as a left-justified 32-bit
    // sample, rounded and clipped.
    static int32_t fromDouble(double sample);

private:
    uint32_t m_bytesPerSample = 0;
    uint32_t m_channels = 0;
};
