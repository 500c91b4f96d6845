#pragma once
// One track chunk ("MTrk") of a Standard MIDI File, reduced to what the
// metadata needs: the tempo and the key signature it sets.
//
// The scan starts at the chunk's first byte, so the 8 header bytes are read
// as if they were events; that is harmless for real files and kept. Two
// habits of the key mapping are kept on purpose as well: the key index is
// the low 7 bits of the signed sharps/flats byte, so ordinary flat keys
// (bytes F9 to FF) give no key and only C and the sharp keys are reported;
// and a minor key is named after the tonic of its major signature (no
// sharps, minor gives "C Minor").
//
// The scan never reads past the chunk it was given, however its lengths
// lie. A value object: no threads of its own, nothing throws.

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>

class ZTMIDITrack
{
public:
    // Null when data does not begin with "MTrk".
    static std::unique_ptr<ZTMIDITrack> initWithData(const QByteArray& data);

    // Beats per minute of the last tempo event; 0 when there is none.
    int32_t bpm() const { return m_bpm; }
    void setBpm(int32_t bpm) { m_bpm = bpm; }
    // "D Major", "C Minor", ... of the last key-signature event that names a
    // key; absent when none did.
    const std::optional<QString>& key() const { return m_key; }
    void setKey(std::optional<QString> key) { m_key = std::move(key); }

private:
    ZTMIDITrack() = default;
    void scan(const QByteArray& data);

    int32_t m_bpm = 0;
    std::optional<QString> m_key;
};
