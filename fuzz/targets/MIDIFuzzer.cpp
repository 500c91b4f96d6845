// The Standard MIDI File reader behind the tempo and key of "midi" chunks.

#include "ZTMIDIParser.h"
#include "ZTMIDITrack.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    if (const std::unique_ptr<ZTMIDIParser> parser = ZTMIDIParser::initWithData(bytes)) {
        for (const std::unique_ptr<ZTMIDITrack>& track : parser->tracks()) {
            // Keys are the names of the key table, never empty.
            if (track->key() && track->key()->isEmpty())
                __builtin_trap();
        }
    }
    // A chunk handed over on its own, as a track.
    if (const std::unique_ptr<ZTMIDITrack> track = ZTMIDITrack::initWithData(bytes))
        (void)track->bpm();
    return 0;
}
