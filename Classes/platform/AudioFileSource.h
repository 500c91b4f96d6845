#pragma once
// One library's view of an opened audio file, behind AudioFileReader: the
// file's own format, layout, length and names, and its samples as
// interleaved 32-bit integers whose most significant bit is the source's.
// SndfileAudioSource and FFmpegAudioSource implement it.
//
// Owned by one AudioFileReader and used on one thread at a time.

#include "AudioFileStatus.h"
#include "CoreAudioTypes.h"

#include <QString>
#include <cstdint>

class AudioFileSource
{
public:
    virtual ~AudioFileSource() = default;

    // The file's own stream description: rate, channels, a format identifier
    // ("lpcm", "alac", ".mp3", ...), its flags and, for linear PCM, the bits
    // per channel; 0 bits for compressed formats.
    virtual AudioStreamBasicDescription dataFormat() const = 0;
    // The file's channel layout: a bitmap when the file names its speakers
    // by position, otherwise a tag (Mono, Stereo, Unknown).
    virtual AudioChannelLayout channelLayout() const = 0;
    // Length in frames, as exact as the file tells; -1 when unknown.
    virtual int64_t lengthFrames() const = 0;
    // The length the file's header announces, against which a shorter
    // stream is damage (a file cut short); -1 when the library only
    // estimates it. Differs from lengthFrames() where the library cuts its
    // length to the data present.
    virtual int64_t announcedLengthFrames() const { return lengthFrames(); }
    // The library's names: "WAV (Microsoft)", "QuickTime / MOV", ...
    virtual QString fileTypeName() const = 0;
    virtual QString dataFormatName() const = 0;
    // The average bit rate the library states, in bits per second; 0 when
    // it states none (the caller then estimates one).
    virtual int64_t bitRate() const { return 0; }

    // Reads up to frameCount frames into out (frameCount × channels
    // samples) and sets frameCount to the number read; 0 at the end. A
    // non-zero status is a read failure (frameCount then says how many
    // frames came before it).
    virtual OSStatus readFrames(int32_t* out, uint32_t& frameCount) = 0;

    // Packets or frames the library refused as damaged so far (their
    // samples are lost; reading goes on after them).
    virtual int64_t decodeErrors() const { return 0; }
    // Before the first read: moves to frame exactly. False when the source
    // cannot, or failed to (then it must not be read any more).
    virtual bool seekToFrame(int64_t frame) { return false; }

    // Whether the file's samples are 16-bit values, so that readFrames16
    // gives exactly what readFrames narrowed to 16 bits would.
    virtual bool hasExact16BitSamples() const { return false; }
    // readFrames into 16-bit samples; only called when hasExact16BitSamples().
    virtual OSStatus readFrames16(int16_t* out, uint32_t& frameCount)
    {
        frameCount = 0;
        return kAudioFileUnspecifiedError;
    }
};
