// Tempo and key from Standard MIDI Files built byte by byte (no program here writes them).

#include "ZTMIDIParser.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray bytes(std::initializer_list<int> values)
{
    QByteArray result;
    for (int v : values) {
        result.append(char(v));
    }
    return result;
}

QByteArray header(int trackCount, int division = 480)
{
    return QByteArray("MThd") + bytes({0, 0, 0, 6, 0, 1, 0, trackCount, division >> 8, division & 0xFF});
}

QByteArray track(const QByteArray& events)
{
    const QByteArray body = events + bytes({0x00, 0xFF, 0x2F, 0x00});
    const int n = int(body.size());
    return QByteArray("MTrk") + bytes({n >> 24, (n >> 16) & 0xFF, (n >> 8) & 0xFF, n & 0xFF}) + body;
}

const QByteArray kTempo120 = bytes({0x00, 0xFF, 0x51, 0x03, 0x07, 0xA1, 0x20});

TEST(ZTMIDIParser, ReadsTempoAndKeyOfEachTrackAmongOtherEvents)
{
    const QByteArray noteOnOff = bytes({0x00, 0x90, 0x3C, 0x40, 0x60, 0x3C, 0x00, 0x00, 0xC0, 0x05});
    const QByteArray sysex = bytes({0x00, 0xF0, 0x03, 0x7E, 0x51, 0xF7});
    const QByteArray data =
        header(2) + track(noteOnOff + kTempo120 + sysex + bytes({0x00, 0xFF, 0x59, 0x02, 0x02, 0x00})) +
        track(bytes({0x00, 0xFF, 0x51, 0x03, 0x0F, 0x42, 0x40}) + // 60 bpm
              bytes({0x00, 0xFF, 0x51, 0x03, 0x09, 0x27, 0xC0}) + // 100 bpm, the later one
              bytes({0x00, 0xFF, 0x59, 0x02, 0x00, 0x01}));
    const auto parser = ZTMIDIParser::initWithData(data);
    ASSERT_NE(parser, nullptr);
    EXPECT_EQ(
        std::tuple(parser->format(), parser->trackCount(), parser->ticksPerBeat(), parser->timeFormat()),
        std::tuple(1, 2, 480, false));
    ASSERT_EQ(parser->tracks().size(), 2u);
    EXPECT_EQ(parser->tracks()[0]->bpm(), 120);
    EXPECT_EQ(parser->tracks()[0]->key(), u"D Major"_s);
    EXPECT_EQ(parser->tracks()[1]->bpm(), 100);
    EXPECT_EQ(parser->tracks()[1]->key(), u"C Minor"_s) << "no sharps, minor: named after the major's tonic";
}

TEST(ZTMIDIParser, FlatKeysAndZeroTempoGiveNothing)
{
    const auto flats =
        ZTMIDIParser::initWithData(header(1) + track(bytes({0x00, 0xFF, 0x59, 0x02, 0xFD, 0x00})));
    ASSERT_EQ(flats->tracks().size(), 1u);
    EXPECT_EQ(flats->tracks()[0]->key(), std::nullopt);
    const auto zero = ZTMIDIParser::initWithData(header(1) + track(bytes({0x00, 0xFF, 0x51, 0x03, 0, 0, 0})));
    EXPECT_EQ(zero->tracks()[0]->bpm(), 0);
}

TEST(ZTMIDIParser, SMPTEDivisionAndRejectedBuffers)
{
    const auto smpte = ZTMIDIParser::initWithData(header(0, 0xE728)); // -25 fps, 40 ticks
    ASSERT_NE(smpte, nullptr);
    EXPECT_EQ(std::tuple(smpte->timeFormat(), smpte->framesPerSecond(), smpte->ticksPerFrame(),
                         smpte->ticksPerBeat()),
              std::tuple(true, 0x67, 0x28, 0));

    EXPECT_EQ(ZTMIDIParser::initWithData(QByteArray("RIFF\0\0\0\0WAVE", 12)), nullptr);
    EXPECT_EQ(ZTMIDIParser::initWithData(QByteArray("MThd\0", 5)), nullptr);
    EXPECT_EQ(ZTMIDITrack::initWithData(QByteArray("MThd")), nullptr);
}

// A chunk that is no track is skipped; a length past the end stops at the buffer's end (cuts: the fuzzer).
TEST(ZTMIDIParser, NeverReadsPastTheBuffer)
{
    const QByteArray whole =
        header(3) + track(kTempo120) + QByteArray("XTrk") + bytes({0, 0, 0, 0}) + track(kTempo120);
    const auto all = ZTMIDIParser::initWithData(whole);
    ASSERT_EQ(all->tracks().size(), 2u);
    EXPECT_EQ(all->tracks()[1]->bpm(), 120);

    const QByteArray lying =
        header(200) + QByteArray("MTrk") + bytes({0x7F, 0xFF, 0xFF, 0xFF, 0x00, 0xFF, 0x51, 0x7F});
    const auto parser = ZTMIDIParser::initWithData(lying);
    ASSERT_NE(parser, nullptr);
    EXPECT_EQ(parser->tracks().size(), 1u);
}

} // namespace
