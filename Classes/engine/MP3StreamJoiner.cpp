#include "MP3StreamJoiner.h"

#include "MP3Frame.h"
#include "NamedException.h"

#include <QCoreApplication>
#include <algorithm>
#include <cmath>
#include <deque>
#include <optional>
#include <vector>

namespace {

// Messages of failures, in the translation context the other encoders' failures use.
QString exceptionsTr(const char* text)
{
    return QCoreApplication::translate("Exceptions", text);
}

// LAME's music CRC and the CRC of its tag: CRC-16 with the reflected polynomial 0xA001, initial
// value 0, LSB first.
uint16_t lameCrc(uint16_t crc, const char* bytes, qsizetype count)
{
    for (qsizetype i = 0; i < count; ++i) {
        crc ^= uint8_t(bytes[i]);
        for (int b = 0; b < 8; ++b) {
            crc = (crc & 1) ? uint16_t(crc >> 1 ^ 0xA001) : uint16_t(crc >> 1);
        }
    }
    return crc;
}

// The most a frame and the reservoir it reaches back into may hold together: LAME's default
// buffer constraint (8 * 1440 bits, a 320 kbit/s frame at 32 kHz), which its own frames keep to.
constexpr int64_t kLameBufferBytes = 1440;

void putBigEndian(char* at, uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i) {
        at[i] = char(value >> (8 * (bytes - 1 - i)));
    }
}

[[noreturn]] void unjoinable(const QString& why)
{
    NamedException::raise(kIllegalInputException, exceptionsTr("Cannot join the MP3 streams: %1").arg(why));
}

// One chunk's frames, and its main data slots laid end to end (the "payload" stream the
// reservoir pointers count in).
struct SourceFrame
{
    MP3Frame frame;
    qsizetype offset = 0;     // of the header in the chunk's bytes
    int64_t payloadStart = 0; // of its slots in the payload stream
};

struct SourceChunk
{
    QByteArray bytes;
    QByteArray payload;
    std::vector<SourceFrame> frames;
    int64_t firstFrame = 0;

    int64_t endFrame() const { return firstFrame + int64_t(frames.size()); }
    const SourceFrame& at(int64_t joinedIndex) const { return frames[size_t(joinedIndex - firstFrame)]; }
};

// Where the joined stream's main data stands, in its own payload stream: fill is where the last
// placed frame's main data ends (all before it is final), end is where the last placed frame's
// slots end. converged: the current chunk's frames lie exactly where their encoder put them,
// relative to their own slots, so they are copied as they are.
struct Packing
{
    int64_t fill = 0;
    int64_t end = 0;
    bool converged = true;
};

} // namespace

struct MP3StreamJoiner::State
{
    std::FILE* output = nullptr;
    bool variableBitrate = false;
    uint32_t formatKey = 0;

    // The chunk whose frames are being placed, and the joined index of its next frame.
    std::optional<SourceChunk> current;
    int64_t nextFrame = 0;
    Packing packing;

    // Frames placed but not written: their head bytes and where their slots start.
    struct Placed
    {
        QByteArray head;
        int64_t payloadStart = 0;
        int payloadBytes = 0;
        int kbps = 0;
    };
    std::deque<Placed> placed;
    // The payload stream from tailStart to packing.end: the slots of the frames in placed.
    QByteArray tail;
    int64_t tailStart = 0;

    // What was written.
    int64_t framesWritten = 0;
    int64_t bytesWritten = 0;
    uint16_t musicCrc = 0;
    // Seek points as LAME gathers them for its table of contents: the running sum of frame bit
    // rates, sampled every `want` frames into 400 slots, halved whenever full.
    std::vector<int> bag = std::vector<int>(400);
    int bagSum = 0;
    int bagSeen = 0;
    int bagWant = 1;
    int bagPos = 0;

    SourceChunk parse(QByteArrayView bytes, int64_t firstFrame);
    // Where frame joinedIndex of chunk goes at the end of the joined stream, as packing stands;
    // advances packing. False when its main data does not fit.
    bool arrange(Packing& packing, const SourceChunk& chunk, int64_t joinedIndex, bool allowRaise,
                 int& bitrateIndex, int64_t& dataStart) const;
    // Arranges the frame and adds it, with its bytes, to the frames not yet written.
    bool place(const SourceChunk& chunk, int64_t joinedIndex, bool allowRaise);
    // Frames from the seam until the next chunk's frames lie as their encoder laid them out
    // (0: at once; the rest of the chunk: never), or -1 when the main data cannot be placed.
    int64_t seamCost(const SourceChunk& previous, const SourceChunk& next, int64_t seam,
                     bool allowRaise) const;
    void writeSettled(bool all);
    void addSeekPoint(int kbps);
};

SourceChunk MP3StreamJoiner::State::parse(QByteArrayView bytes, int64_t firstFrame)
{
    SourceChunk chunk;
    chunk.bytes = bytes.toByteArray();
    chunk.firstFrame = firstFrame;
    qsizetype at = 0;
    // LAME's placeholder for its information frame: a frame header, then only zero bytes (an
    // audio frame's side information never is: it holds at least a global gain).
    if (const std::optional<MP3Frame> first = MP3Frame::parse(bytes)) {
        const QByteArrayView rest = bytes.sliced(4, first->frameBytes() - 4);
        if (std::all_of(rest.begin(), rest.end(), [](char b) { return b == 0; })) {
            at = first->frameBytes();
        }
    }
    int64_t payloadEnd = 0;
    while (at < bytes.size()) {
        const std::optional<MP3Frame> frame = MP3Frame::parse(bytes.sliced(at));
        if (!frame) {
            unjoinable(exceptionsTr("no layer III frame at byte %1 of a chunk").arg(at));
        }
        if (formatKey == 0) {
            formatKey = frame->formatKey();
        } else if (frame->formatKey() != formatKey) {
            unjoinable(exceptionsTr("the frame at byte %1 of a chunk has another format").arg(at));
        }
        // Its main data must lie in this chunk's slots, before its own end.
        if (frame->mainDataBegin() > payloadEnd ||
            frame->mainDataBytes() > frame->mainDataBegin() + frame->payloadBytes()) {
            unjoinable(
                exceptionsTr("the main data of the frame at byte %1 of a chunk is out of reach").arg(at));
        }
        chunk.frames.push_back({*frame, at, payloadEnd});
        chunk.payload.append(bytes.sliced(at + frame->headBytes(), frame->payloadBytes()));
        payloadEnd += frame->payloadBytes();
        at += frame->frameBytes();
    }
    if (chunk.frames.empty()) {
        unjoinable(exceptionsTr("a chunk holds no audio frame"));
    }
    return chunk;
}

bool MP3StreamJoiner::State::arrange(Packing& packing, const SourceChunk& chunk, int64_t joinedIndex,
                                     bool allowRaise, int& bitrateIndex, int64_t& dataStart) const
{
    const MP3Frame& frame = chunk.at(joinedIndex).frame;
    const int64_t free = packing.end - packing.fill;
    if (!packing.converged && free >= frame.mainDataBegin()) {
        // As much room as its encoder gave it: from here on the chunk's own layout fits as it is.
        packing.converged = true;
    }
    const int64_t payloadStart = packing.end;
    bitrateIndex = frame.bitrateIndex();
    int payloadBytes = frame.payloadBytes();
    if (packing.converged) {
        dataStart = payloadStart - frame.mainDataBegin();
    } else {
        // Greedy: the data starts right where the previous frame's data ends. That is never
        // further back than its encoder started it (free < mainDataBegin), which keeps it within
        // the pointer's range and within the buffer LAME allows a frame and its reservoir.
        dataStart = packing.fill;
        while (dataStart + frame.mainDataBytes() > payloadStart + payloadBytes) {
            // A larger frame, but with its reservoir still within LAME's buffer.
            if (!allowRaise || bitrateIndex == 14 ||
                payloadStart - dataStart + frame.frameBytesAt(bitrateIndex + 1) > kLameBufferBytes) {
                return false;
            }
            ++bitrateIndex;
            payloadBytes = frame.frameBytesAt(bitrateIndex) - frame.headBytes();
        }
    }
    packing.fill = dataStart + frame.mainDataBytes();
    packing.end = payloadStart + payloadBytes;
    return true;
}

bool MP3StreamJoiner::State::place(const SourceChunk& chunk, int64_t joinedIndex, bool allowRaise)
{
    const SourceFrame& source = chunk.at(joinedIndex);
    const MP3Frame& frame = source.frame;
    const int64_t payloadStart = packing.end;
    int bitrateIndex = 0;
    int64_t dataStart = 0;
    if (!arrange(packing, chunk, joinedIndex, allowRaise, bitrateIndex, dataStart)) {
        return false;
    }
    const int payloadBytes = int(packing.end - payloadStart);

    Placed out;
    out.head = QByteArray(chunk.bytes.constData() + source.offset, frame.headBytes());
    out.payloadStart = payloadStart;
    out.payloadBytes = payloadBytes;
    out.kbps = frame.kbpsAt(bitrateIndex);
    if (!packing.converged) {
        MP3Frame::setBitrateIndex(out.head.data(), bitrateIndex);
        frame.setMainDataBegin(out.head.data(), int(payloadStart - dataStart));
        frame.updateCrc(out.head.data());
    }
    placed.push_back(out);
    tail.append(QByteArray(payloadBytes, '\0'));
    char* const tailBytes = tail.data() - tailStart;
    if (packing.converged) {
        // The encoder's own bytes from the start of this frame's data to the end of its slots
        // (the data of later frames of the chunk among them, written again identically by them).
        const int64_t sourceStart = source.payloadStart - frame.mainDataBegin();
        std::copy_n(chunk.payload.constData() + sourceStart, frame.mainDataBegin() + payloadBytes,
                    tailBytes + dataStart);
    } else {
        std::copy_n(chunk.payload.constData() + source.payloadStart - frame.mainDataBegin(),
                    frame.mainDataBytes(), tailBytes + dataStart);
    }
    return true;
}

int64_t MP3StreamJoiner::State::seamCost(const SourceChunk& previous, const SourceChunk& next, int64_t seam,
                                         bool allowRaise) const
{
    Packing trial = packing;
    int bitrateIndex = 0;
    int64_t dataStart = 0;
    for (int64_t f = nextFrame; f < seam; ++f) {
        if (!arrange(trial, previous, f, variableBitrate, bitrateIndex, dataStart)) {
            return -1;
        }
    }
    trial.converged = false;
    // Once converged, every later frame fits as its encoder laid it out.
    for (int64_t f = seam; f < next.endFrame(); ++f) {
        if (!arrange(trial, next, f, allowRaise, bitrateIndex, dataStart)) {
            return -1;
        }
        if (trial.converged) {
            return f - seam;
        }
    }
    return next.endFrame() - seam;
}

void MP3StreamJoiner::State::addSeekPoint(int kbps)
{
    // As LAME's addVbr: the bag holds the running sum every `want` frames; when full, every
    // second entry is kept and twice as many frames make one entry.
    bagSum += kbps;
    ++bagSeen;
    if (bagSeen < bagWant) {
        return;
    }
    if (bagPos < int(bag.size())) {
        bag[size_t(bagPos++)] = bagSum;
        bagSeen = 0;
    }
    if (bagPos == int(bag.size())) {
        for (size_t i = 1; i < bag.size(); i += 2) {
            bag[i / 2] = bag[i];
        }
        bagWant *= 2;
        bagPos /= 2;
    }
}

void MP3StreamJoiner::State::writeSettled(bool all)
{
    while (!placed.empty() &&
           (all || placed.front().payloadStart + placed.front().payloadBytes <= packing.fill)) {
        const Placed& frame = placed.front();
        const QByteArray slots = tail.first(frame.payloadBytes);
        if (std::fwrite(frame.head.constData(), 1, size_t(frame.head.size()), output) !=
                size_t(frame.head.size()) ||
            std::fwrite(slots.constData(), 1, size_t(slots.size()), output) != size_t(slots.size())) {
            NamedException::raise(kIOException, exceptionsTr("Could not write the joined MP3 stream."));
        }
        musicCrc = lameCrc(musicCrc, frame.head.constData(), frame.head.size());
        musicCrc = lameCrc(musicCrc, slots.constData(), slots.size());
        ++framesWritten;
        bytesWritten += frame.head.size() + slots.size();
        addSeekPoint(frame.kbps);
        tail.remove(0, frame.payloadBytes);
        tailStart += frame.payloadBytes;
        placed.pop_front();
    }
}

MP3StreamJoiner::MP3StreamJoiner(std::FILE* output, bool variableBitrate) : m_state(std::make_unique<State>())
{
    ZT_REQUIRE(output != nullptr, "output != NULL");
    m_state->output = output;
    m_state->variableBitrate = variableBitrate;
}

MP3StreamJoiner::~MP3StreamJoiner() = default;

void MP3StreamJoiner::append(QByteArrayView bytes, int64_t firstFrame, int64_t seamFrame)
{
    State& s = *m_state;
    SourceChunk chunk = s.parse(bytes, firstFrame);
    if (!s.current) {
        ZT_REQUIRE(firstFrame == 0 && seamFrame == 0, "firstFrame == 0 && seamFrame == 0");
        if (chunk.frames.front().frame.mainDataBegin() != 0) {
            unjoinable(exceptionsTr("the first frame refers to data before the stream"));
        }
        s.current = std::move(chunk);
        s.nextFrame = 0;
        return;
    }
    ZT_REQUIRE(seamFrame - firstFrame >= kMinimumLeadIn, "seamFrame - firstFrame >= kMinimumLeadIn");
    ZT_REQUIRE(seamFrame >= s.nextFrame, "seamFrame >= the previous seam");
    const SourceChunk& previous = *s.current;
    if (previous.endFrame() < seamFrame + kSeamWindow || chunk.endFrame() < seamFrame + kSeamWindow) {
        unjoinable(exceptionsTr("the chunks do not both cover frames %1 to %2")
                       .arg(seamFrame)
                       .arg(seamFrame + kSeamWindow - 1));
    }

    // The seam: a frame of the window where both sides start granule 0 with the same window
    // halves (the previous granule's overlap then fits the next chunk's), and where the main data
    // fits; of those the one after which the next chunk's own layout is reached soonest (every
    // frame until then is repacked, and in CBR only the encoder's stuffing can close the gap),
    // the earliest of equals. Only in ABR and VBR, and only when no frame fits as it is, may
    // frames get higher bit rates.
    std::optional<int64_t> seam;
    for (const bool allowRaise : {false, true}) {
        if (allowRaise && !s.variableBitrate) {
            break;
        }
        int64_t bestCost = -1;
        for (int64_t j = seamFrame; j < seamFrame + kSeamWindow; ++j) {
            const MP3Frame& left = previous.at(j).frame;
            const MP3Frame& right = chunk.at(j).frame;
            bool shapesMatch = true;
            for (int ch = 0; ch < left.channels(); ++ch) {
                shapesMatch = shapesMatch && left.shortStart(ch) == right.shortStart(ch);
            }
            const int64_t cost = shapesMatch ? s.seamCost(previous, chunk, j, allowRaise) : -1;
            if (cost >= 0 && (bestCost < 0 || cost < bestCost)) {
                bestCost = cost;
                seam = j;
            }
            if (bestCost == 0) {
                break;
            }
        }
        if (seam) {
            break;
        }
    }
    if (!seam) {
        unjoinable(exceptionsTr("no frame from %1 to %2 makes a seam")
                       .arg(seamFrame)
                       .arg(seamFrame + kSeamWindow - 1));
    }

    for (; s.nextFrame < *seam; ++s.nextFrame) {
        // Fits: the trial placed it the same way.
        s.place(previous, s.nextFrame, s.variableBitrate);
    }
    // What lies behind the last data of the previous chunk is its reservoir for frames now
    // dropped: free space for the next chunk, cleared.
    std::fill(s.tail.begin() + (s.packing.fill - s.tailStart), s.tail.end(), '\0');
    s.packing.converged = false;
    s.current = std::move(chunk);
    s.writeSettled(false);
}

void MP3StreamJoiner::finish()
{
    State& s = *m_state;
    ZT_REQUIRE(s.current.has_value(), "a chunk was appended");
    for (; s.nextFrame < s.current->endFrame(); ++s.nextFrame) {
        if (!s.place(*s.current, s.nextFrame, s.variableBitrate)) {
            unjoinable(exceptionsTr("the main data of frame %1 does not fit").arg(s.nextFrame));
        }
        s.writeSettled(false);
    }
    s.writeSettled(true);
    s.current.reset();
    if (std::fflush(s.output) != 0) {
        NamedException::raise(kIOException, exceptionsTr("Could not write the joined MP3 stream."));
    }
}

int64_t MP3StreamJoiner::frameCount() const
{
    return m_state->framesWritten;
}

int64_t MP3StreamJoiner::audioBytes() const
{
    return m_state->bytesWritten;
}

// The information frame: a frame header and side information of zeros, then
//   "Xing" (VBR, ABR) or "Info" (CBR) 4, flags 4 (1 frames, 2 bytes, 4 TOC, 8 quality), then the
//   fields the flags name: frames 4, bytes 4, TOC 100, quality 4;
//   LAME's tag, 36 bytes: encoder 9, revision and VBR method 1, low-pass 1, peak 4, radio gain
//   2, audiophile gain 2, encoding flags 1, bit rate 1, encoder delay and padding 12 + 12 bits,
//   misc 1, MP3 gain 1, preset and surround 2, music length 4, music CRC 2, CRC of the tag 2
//   (of every byte of the frame before it).
QByteArray MP3StreamJoiner::infoFrame(QByteArrayView firstChunkInfoFrame, int encoderDelay,
                                      int encoderPadding) const
{
    const State& s = *m_state;
    QByteArray frame = firstChunkInfoFrame.toByteArray();
    const std::optional<MP3Frame> header = MP3Frame::parse(frame);
    if (!header) {
        unjoinable(exceptionsTr("the information frame is not a layer III frame"));
    }
    // Right after the side information, even in a protected frame: LAME does not count the CRC
    // word there (nor do FFmpeg and LAME's own reader).
    const qsizetype xing = 4 + header->sideInfoBytes();
    const QByteArrayView name = QByteArrayView(frame).sliced(xing, 4);
    if (frame.size() < xing + 8 || (name != "Xing" && name != "Info")) {
        unjoinable(exceptionsTr("the information frame has no Xing or Info header"));
    }
    const uint32_t flags = uint32_t(uint8_t(frame[xing + 7])) | uint32_t(uint8_t(frame[xing + 6])) << 8;
    qsizetype at = xing + 8;
    // LAME counts the information frame among the bytes, not among the frames.
    const int64_t streamBytes = s.bytesWritten + frame.size();
    if (flags & 1) {
        putBigEndian(frame.data() + at, uint32_t(s.framesWritten), 4);
        at += 4;
    }
    if (flags & 2) {
        putBigEndian(frame.data() + at, uint32_t(streamBytes), 4);
        at += 4;
    }
    if (flags & 4) {
        // As LAME's Xing_seek_table: entry i is the share of the bit rate sum reached at i%
        // of the seek points, of 256. Computed in float, as there.
        frame[at] = 0;
        for (int i = 1; i < 100 && s.bagPos > 0; ++i) {
            const float share = float(i) / 100.0f;
            const int index = std::min(int(std::floor(share * float(s.bagPos))), s.bagPos - 1);
            const float act = float(s.bag[size_t(index)]);
            const float sum = float(s.bagSum);
            frame[at + i] = char(std::min(int(256. * act / sum), 255));
        }
        at += 100;
    }
    if (flags & 8) {
        at += 4;
    }
    if (frame.size() < at + 36 || !QByteArrayView(frame).sliced(at, 4).startsWith("LAME")) {
        unjoinable(exceptionsTr("the information frame has no LAME tag"));
    }
    ZT_REQUIRE(encoderDelay >= 0 && encoderDelay < 4096 && encoderPadding >= 0 && encoderPadding < 4096,
               "0 <= delay, padding < 4096");
    putBigEndian(frame.data() + at + 21, uint32_t(encoderDelay) << 12 | uint32_t(encoderPadding), 3);
    putBigEndian(frame.data() + at + 28, uint32_t(streamBytes), 4);
    putBigEndian(frame.data() + at + 32, s.musicCrc, 2);
    putBigEndian(frame.data() + at + 34, lameCrc(0, frame.constData(), at + 34), 2);
    return frame;
}
