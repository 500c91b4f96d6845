#pragma once
// The header and track chunks of a Standard MIDI File, as far as the
// metadata needs them: loop and production tools store such a file in a
// "midi" user-data chunk, and its first track's tempo and key signature fill
// a record's bpm and key.
//
// The first track chunk is taken to start at byte 14 whatever the header's
// length field says, and trackCount chunks are read one after the other;
// parsing stops at the end of the buffer instead of reading past it. A
// chunk that is no "MTrk" is left out of tracks().
//
// A value object: no threads of its own, nothing throws.

#include "ZTMIDITrack.h"

#include <QByteArray>
#include <memory>
#include <vector>

class ZTMIDIParser
{
public:
    // Null when data is 5 bytes or shorter or does not begin with "MThd".
    static std::unique_ptr<ZTMIDIParser> initWithData(const QByteArray& data);

    uint32_t headerChunkSize() const { return m_headerChunkSize; }
    uint16_t format() const { return m_format; }
    uint16_t trackCount() const { return m_trackCount; }
    // True for SMPTE timing (top bit of the division word set).
    bool timeFormat() const { return m_timeFormat; }
    uint16_t ticksPerBeat() const { return m_ticksPerBeat; }
    uint8_t ticksPerFrame() const { return m_ticksPerFrame; }
    uint8_t framesPerSecond() const { return m_framesPerSecond; }
    const std::vector<std::unique_ptr<ZTMIDITrack>>& tracks() const { return m_tracks; }

private:
    ZTMIDIParser() = default;

    uint32_t m_headerChunkSize = 0;
    uint16_t m_format = 0;
    uint16_t m_trackCount = 0;
    bool m_timeFormat = false;
    uint16_t m_ticksPerBeat = 0;
    uint8_t m_ticksPerFrame = 0;
    uint8_t m_framesPerSecond = 0;
    std::vector<std::unique_ptr<ZTMIDITrack>> m_tracks;
};
