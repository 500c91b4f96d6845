#pragma once
// Joins the MPEG layer III streams of several LAME instances, each of which
// encoded one stretch ("chunk") of the same source with the same settings,
// into one gapless stream, written to a file as it settles.
//
// Frame alignment: with frame size spf (1152 for MPEG-1, 576 for MPEG-2/2.5,
// lame_get_framesize), an instance's audio frame n covers the same
// output-rate samples as the whole stream's frame (firstFrame + n) when the
// instance's input began firstFrame*spf output samples into the source (the
// caller aligns chunk starts so this is exact, also when LAME resamples).
// Chunk k>0 is encoded with a lead-in (frames before seamFrame, which warm the
// psychoacoustic model, the MDCT overlap and the resampler, and which the
// joiner drops), and chunk k-1 is encoded past chunk k's seamFrame by at least
// kSeamWindow complete frames plus enough input that the flush does not touch
// them. The joiner picks the exact seam inside [seamFrame, seamFrame +
// kSeamWindow): a frame where the window shapes of both sides match (the first
// half of granule 0's window, long or short, in every channel) and where the
// main data of the frames from there on can be placed in the bit reservoir.
// Of those it takes the one after which the next chunk's own layout is reached
// soonest. Placing is greedy: after a seam each frame's main data starts right
// behind the previous frame's, but never further back than its own encoder
// started it (which keeps main_data_begin within the pointer's range and
// within the buffer LAME allows), and never past the end of its own frame;
// once there is as much room behind a frame as its encoder gave it, the
// chunk's frames are copied as they are (padding bits, stuffing and all). A
// frame whose main data does not fit gets a higher bit rate in ABR/VBR; in
// CBR another seam is chosen. Frame padding bits are never changed. A single
// chunk is therefore written byte for byte as its encoder wrote it.
//
// infoFrame() follows LAME's own conventions, checked against a single
// instance byte for byte: the frame count excludes the information frame,
// the byte count and the music length include it, the table of contents is
// built from the frames' bit rates as LAME builds it, the music CRC covers
// every audio frame, and the tag CRC every byte of the frame before it.
//
// Memory: the current chunk (a copy of its bytes, twice) and the frames not
// yet settled (a few, within the reservoir's reach); every other frame is
// already in the file. The table of contents needs 400 integers whatever the
// length.
//
// Ownership: output is not owned; it must stay open until finish().
// Threads: one object, one thread at a time.
// Failures: NamedException (kIllegalInputException for a stream that cannot be
// joined, kIOException for a failed write); the output then holds a partial
// stream that the caller deletes.

#include <QByteArray>
#include <QByteArrayView>
#include <cstdint>
#include <cstdio>
#include <memory>

class MP3StreamJoiner
{
public:
    // Frames of overlap, after a chunk's seamFrame, that the previous chunk must also hold,
    // complete; the seam is chosen among them.
    static constexpr int kSeamWindow = 16;
    // Frames of lead-in, before seamFrame, that a later chunk must hold at least.
    static constexpr int kMinimumLeadIn = 8;

    // output: an open file the audio frames are written to, from its current position (the
    // caller has already written a placeholder for the information frame, of the size
    // lame_get_lametag_frame reports, before it). Not owned.
    // variableBitrate: ABR or VBR; a frame whose main data does not fit may then be given a higher
    // bit rate. In CBR it never changes a frame's bit rate.
    MP3StreamJoiner(std::FILE* output, bool variableBitrate);
    ~MP3StreamJoiner();

    // Chunks in order. chunk: one LAME instance's whole output (everything lame_encode_buffer*
    // and lame_encode_flush returned, in order; when it begins with LAME's placeholder
    // information frame, that frame is skipped). firstFrame: the joined stream's index of the
    // chunk's first audio frame. seamFrame: the first frame this chunk should provide; 0 and
    // firstFrame 0 for the first chunk. Writes every frame that can no longer change.
    // Throws NamedException when the chunk is not a clean run of layer III frames of one format,
    // does not cover what it must, or no seam can be made; the output then holds a partial stream
    // that the caller deletes.
    void append(QByteArrayView chunk, int64_t firstFrame, int64_t seamFrame);
    // Writes the remaining frames. Throws NamedException when writing fails.
    void finish();

    // Joined stream, after finish(): number of audio frames and bytes written.
    int64_t frameCount() const;
    int64_t audioBytes() const;

    // The LAME information frame for the joined stream (same size as the template):
    // firstChunkInfoFrame is lame_get_lametag_frame of the first chunk's instance after its flush;
    // its frame count, byte count, TOC, encoder delay and padding, music length, music CRC and the
    // tag's own CRC are rewritten for the whole joined stream. encoderDelay is the first chunk's
    // lame_get_encoder_delay, encoderPadding the last chunk's lame_get_encoder_padding.
    QByteArray infoFrame(QByteArrayView firstChunkInfoFrame, int encoderDelay, int encoderPadding) const;

private:
    struct State;
    std::unique_ptr<State> m_state;
};
