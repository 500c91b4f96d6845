#pragma once
// One track of an album image: the frames [start, start + length) of another
// decoder's stream, handed out as a stream of their own. The inner decoder
// seeks to start where it can do so exactly (seekToFrame()); otherwise this
// reads and drops the frames before it. The stream then ends after length
// frames, even though the image goes on.
//
// totalFrames() is the track's length. The track's damage is the inner
// decoder's (positions counted from the image's start), plus an early end
// when the image stops before the track's end.
//
// Owns the inner decoder. One thread, as any decoder; cancel() passes on.

#include "ZTDecoder.h"

class TrackSpanDecoder : public ZTDecoder
{
public:
    // inner: opened, not yet read. Raises what the inner decoder raises.
    TrackSpanDecoder(std::unique_ptr<ZTDecoder> inner, int64_t start, int64_t length);

    QString className() const override { return m_inner->className(); }
    int64_t totalFrames() override { return m_length; }
    void fillPCMBuffer() override;

private:
    // Reads up to frames into the ring buffer's write area (or drops them
    // when drop is set); 0 at the inner stream's end.
    uint32_t readInner(uint32_t frames, bool drop);
    void finish();

    std::unique_ptr<ZTDecoder> m_inner;
    int64_t m_toSkip;
    int64_t m_left;
    const int64_t m_length;
    std::vector<uint8_t> m_dropped;
};
