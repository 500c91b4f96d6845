// The split encoder against one LAME instance: same length and SNR, same bytes on any thread count;
// the source is a function of time, so resampled encodes have an exact reference too.

#include "SplitMP3Encoder.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "MP3Frame.h"
#include "MP3InfoFrame.h"
#include "MP3StreamJoiner.h"
#include "NamedException.h"
#include "Tools.h"

#include <QFile>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <mpg123.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

enum class Method { CBR, ABR, VBR };

struct SplitCase
{
    Method method;
    int inputRate;
    int outputRate;
    int channels;
    bool crc = false; // frames protected by a CRC word
};

std::string caseName(const testing::TestParamInfo<SplitCase>& info)
{
    static const char* const kMethods[] = {"CBR128", "ABR160", "VBRV2"};
    const SplitCase& c = info.param;
    return std::string(kMethods[int(c.method)]) + "_" + std::to_string(c.inputRate) + "to" +
           std::to_string(c.outputRate) + (c.channels == 1 ? "_mono" : "_stereo") + (c.crc ? "_crc" : "");
}

// Chords with harmonics, a noise-like bed of 32 partials below 7 kHz at scattered frequencies and
// phases, and 1-ms-attack bursts at the given times; a different mix per side.
struct Music
{
    std::vector<double> bursts;

    double at(double t, int channel) const
    {
        static constexpr double kChords[4][3] = {
            {220, 277.2, 329.6}, {196, 246.9, 293.7}, {174.6, 220, 261.6}, {164.8, 207.7, 246.9}};
        const double* chord = kChords[int(t / 1.5) % 4];
        double v = 0;
        for (int n = 0; n < 3; ++n) {
            for (int h = 1; h <= 4; ++h) {
                v += 0.06 / h * std::sin(2 * M_PI * chord[n] * h * t + n + channel * 0.3 * h);
            }
        }
        for (int k = 0; k < 32; ++k) {
            const double frequency = 150.0 + 6800.0 * std::fmod(k * 0.6180339887, 1.0);
            v += 0.008 * std::sin(2 * M_PI * frequency * t + k * k * 0.37 + channel * k);
        }
        for (double start : bursts) {
            const double s = t - start;
            if (s >= 0 && s < 0.08) {
                const double attack = s < 0.001 ? 0.5 - 0.5 * std::cos(M_PI * s / 0.001) : 1.0;
                v += 0.5 * attack * std::exp(-s / 0.015) * std::sin(2 * M_PI * (2500 + 700 * channel) * s);
            }
        }
        return v;
    }
    std::vector<short> render(int64_t frames, int rate, int channels) const // interleaved
    {
        std::vector<short> pcm(size_t(frames * channels));
        for (size_t i = 0; i < pcm.size(); ++i) {
            pcm[i] = short(std::lround(at(double(i / channels) / rate, int(i % channels)) * 32767));
        }
        return pcm;
    }
};

// Part of an interleaved source in memory, deinterleaved in blocks; counts frames read and sources
// alive, and throws once no more than failAt frames remain.
class MemorySource : public PcmBlockSource
{
public:
    struct Counters
    {
        std::atomic<int64_t> read = 0;
        std::atomic<int> alive = 0;
    };
    MemorySource(const std::vector<short>& pcm, int channels, int64_t start, int64_t frames,
                 Counters* counters = nullptr, int64_t failAt = -1)
        : m_pcm(pcm), m_channels(channels), m_next(start), m_end(start + frames), m_failAt(failAt),
          m_counters(counters)
    {
        if (m_counters) {
            ++m_counters->alive;
        }
    }
    ~MemorySource() override
    {
        if (m_counters) {
            --m_counters->alive;
        }
    }
    Block next() override
    {
        if (m_failAt >= 0 && m_end - m_next <= m_failAt) {
            NamedException::raise(kIOException, u"The source could not be read."_s);
        }
        const int64_t n = std::min<int64_t>(4096, m_end - m_next);
        m_left.resize(size_t(n));
        m_right.resize(size_t(n));
        for (int64_t i = 0; i < n; ++i) {
            const size_t at =
                size_t((m_next + i) % int64_t(m_pcm.size() / size_t(m_channels))) * size_t(m_channels);
            m_left[size_t(i)] = m_pcm[at];
            m_right[size_t(i)] = m_pcm[at + size_t(m_channels) - 1];
        }
        m_next += n;
        if (m_counters) {
            m_counters->read += n;
        }
        return {m_left.data(), m_channels == 2 ? m_right.data() : nullptr, nullptr, nullptr, size_t(n)};
    }

private:
    const std::vector<short>& m_pcm;
    int m_channels;
    int64_t m_next, m_end, m_failAt;
    Counters* m_counters;
    std::vector<short> m_left, m_right;
};

void configure(lame_global_flags* gfp, const SplitCase& c)
{
    lame_set_num_channels(gfp, c.channels);
    lame_set_in_samplerate(gfp, c.inputRate);
    lame_set_out_samplerate(gfp, c.outputRate);
    lame_set_mode(gfp, c.channels == 1 ? MONO : JOINT_STEREO);
    lame_set_findReplayGain(gfp, 0);
    lame_set_error_protection(gfp, c.crc ? 1 : 0);
    lame_set_VBR(gfp, c.method == Method::CBR ? vbr_off : c.method == Method::ABR ? vbr_abr : vbr_mtrh);
    if (c.method == Method::CBR) {
        lame_set_brate(gfp, 128);
    } else if (c.method == Method::ABR) {
        lame_set_VBR_mean_bitrate_kbps(gfp, 160);
    } else {
        lame_set_VBR_q(gfp, 2);
    }
}

// The reference: one LAME instance over the whole source, its information frame written over
// its placeholder at the start, as the single-instance encoder does.
QByteArray encodeWhole(const std::vector<short>& pcm, const SplitCase& c)
{
    std::unique_ptr<lame_global_flags, decltype(&lame_close)> lame(lame_init(), &lame_close);
    configure(lame.get(), c);
    lame_set_bWriteVbrTag(lame.get(), 1);
    EXPECT_EQ(lame_init_params(lame.get()), 0);
    MemorySource source(pcm, c.channels, 0, int64_t(pcm.size()) / c.channels);
    std::vector<unsigned char> buffer(4096 * 5 / 4 + 7200);
    QByteArray mp3;
    const auto append = [&](int n) { mp3.append(reinterpret_cast<const char*>(buffer.data()), n); };
    for (PcmBlockSource::Block b = source.next(); b.frames > 0; b = source.next()) {
        append(lame_encode_buffer(lame.get(), b.left16, b.right16 ? b.right16 : b.left16, int(b.frames),
                                  buffer.data(), int(buffer.size())));
    }
    append(lame_encode_flush(lame.get(), buffer.data(), int(buffer.size())));
    const size_t tagSize = lame_get_lametag_frame(lame.get(), buffer.data(), buffer.size());
    mp3.replace(0, qsizetype(tagSize),
                QByteArray(reinterpret_cast<const char*>(buffer.data()), qsizetype(tagSize)));
    return mp3;
}

// Runs encoder into a new file at path; whether it finished.
bool encodeInto(SplitMP3Encoder& encoder, const QString& path, const std::function<bool(int64_t)>& poll)
{
    std::FILE* file = std::fopen(QFile::encodeName(path).constData(), "wb");
    EXPECT_NE(file, nullptr);
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> closer(file, &std::fclose);
    return encoder.encode(file, poll);
}

QByteArray encodeSplit(const std::vector<short>& pcm, const SplitCase& c,
                       const std::vector<SplitMP3Encoder::Chunk>& chunks, const QString& path,
                       int threads = 0)
{
    SplitMP3Encoder encoder([&](lame_global_flags* gfp) { configure(gfp, c); },
                            [&](const SplitMP3Encoder::Chunk& chunk) {
                                return std::make_unique<MemorySource>(pcm, c.channels, chunk.inputStart,
                                                                      chunk.inputFrames);
                            },
                            chunks, threads);
    try {
        EXPECT_TRUE(encodeInto(encoder, path, [](int64_t) { return true; }));
    } catch (const NamedException& e) {
        ADD_FAILURE() << e.name().toStdString() << ": " << e.what();
    }
    return fileBytes(path);
}

// What FFmpeg decodes (16-bit, interleaved), checking CRC words; fails on any error message.
std::vector<short> decodeWithFFmpeg(const QString& path)
{
    const ToolResult decoded = runTool(u"ffmpeg"_s, {"-nostdin", "-v", "error", "-err_detect", "crccheck",
                                                     "-i", path, "-f", "s16le", "-c:a", "pcm_s16le", "-"});
    EXPECT_EQ(decoded.exitCode, 0);
    EXPECT_EQ(decoded.standardError, QString()) << path.toStdString();
    std::vector<short> pcm(size_t(decoded.standardOutput.size()) / 2);
    std::memcpy(pcm.data(), decoded.standardOutput.constData(), pcm.size() * 2);
    return pcm;
}

// The frames libmpg123 decodes (gapless, the information frame honoured); fails on any message
// it prints to the standard error.
int64_t decodeWithMpg123(const QString& path, int channels)
{
    const std::unique_ptr<mpg123_handle, decltype(&mpg123_delete)> handle(mpg123_new(nullptr, nullptr),
                                                                          &mpg123_delete);
    mpg123_handle* mh = handle.get();
    EXPECT_EQ(mpg123_open(mh, QFile::encodeName(path).constData()), MPG123_OK);
    std::fflush(stderr);
    const int savedStderr = dup(2);
    std::FILE* messages = std::tmpfile();
    dup2(fileno(messages), 2);
    int64_t bytes = 0;
    int result;
    off_t frame = 0;
    unsigned char* audio = nullptr;
    size_t size = 0;
    while ((result = mpg123_decode_frame(mh, &frame, &audio, &size)) == MPG123_OK ||
           result == MPG123_NEW_FORMAT) {
        bytes += int64_t(size);
    }
    std::fflush(stderr);
    dup2(savedStderr, 2);
    close(savedStderr);
    std::rewind(messages);
    char text[512] = {};
    EXPECT_EQ(std::fread(text, 1, sizeof text - 1, messages), 0u) << text;
    std::fclose(messages);
    EXPECT_EQ(result, MPG123_DONE) << mpg123_strerror(mh);
    return bytes / 2 / channels;
}

// Over interleaved samples [from, to).
double snrDB(const std::vector<short>& decoded, const std::vector<short>& reference, size_t from = 0,
             size_t to = SIZE_MAX)
{
    double signal = 0, noise = 0;
    for (size_t i = from; i < std::min({to, decoded.size(), reference.size()}); ++i) {
        signal += double(reference[i]) * reference[i];
        noise += (double(decoded[i]) - reference[i]) * (double(decoded[i]) - reference[i]);
    }
    return 10 * std::log10(signal / std::max(noise, 1.0));
}

class SplitMP3EncoderTest : public testing::TestWithParam<SplitCase>
{
};

TEST_P(SplitMP3EncoderTest, threeChunksDecodeLikeOneInstance)
{
    const SplitCase& c = GetParam();
    const int frameSize = c.outputRate >= 32000 ? 1152 : 576;
    const int64_t sourceFrames = int64_t(c.inputRate) * 9;
    const std::vector<SplitMP3Encoder::Chunk> chunks =
        SplitMP3Encoder::plan(sourceFrames, c.inputRate, c.outputRate, frameSize, 3);
    ASSERT_EQ(chunks.size(), 3u);
    // The plan: equal stretches starting on whole MP3 frames, each later chunk with its lead-in,
    // each earlier one reaching past the seam window.
    EXPECT_EQ(chunks[0].inputStart, 0);
    EXPECT_EQ(chunks.back().inputStart + chunks.back().inputFrames, sourceFrames);
    for (size_t k = 1; k < chunks.size(); ++k) {
        const int64_t samplesIn = chunks[k].firstFrame * frameSize * c.inputRate;
        EXPECT_EQ(samplesIn % c.outputRate, 0);
        EXPECT_EQ(chunks[k].inputStart, samplesIn / c.outputRate);
        EXPECT_GE(chunks[k].seamFrame - chunks[k].firstFrame, MP3StreamJoiner::kMinimumLeadIn);
        EXPECT_GE(chunks[k - 1].inputStart + chunks[k - 1].inputFrames,
                  (chunks[k].seamFrame + MP3StreamJoiner::kSeamWindow + 1) * frameSize * c.inputRate /
                      c.outputRate);
        EXPECT_NEAR(double(chunks[k].seamFrame - chunks[k - 1].seamFrame), double(chunks[1].seamFrame), 1.0);
    }
    EXPECT_EQ(SplitMP3Encoder::plan(1000, c.inputRate, c.outputRate, frameSize, 4).size(), 1u);
    std::vector<double> bursts = {0.7, 4.4}; // and right at each planned seam and across its window
    for (const SplitMP3Encoder::Chunk& chunk : chunks) {
        for (int frame : {0, 3, 9}) {
            bursts.push_back(double((chunk.seamFrame + frame) * frameSize) / c.outputRate);
        }
    }
    const Music music{bursts};
    const std::vector<short> pcm = music.render(sourceFrames, c.inputRate, c.channels);
    const int64_t outputFrames = sourceFrames * c.outputRate / c.inputRate;
    const std::vector<short> reference =
        c.inputRate == c.outputRate ? pcm : music.render(outputFrames, c.outputRate, c.channels);

    ScratchDir dir;
    const QString wholePath = dir.file(u"whole.mp3"_s), splitPath = dir.file(u"split.mp3"_s);
    const QByteArray whole = encodeWhole(pcm, c);
    QFile wholeFile(wholePath);
    ASSERT_TRUE(wholeFile.open(QIODevice::WriteOnly) && wholeFile.write(whole) == whole.size());
    wholeFile.close();
    const QByteArray split = encodeSplit(pcm, c, chunks, splitPath, 2);
    ASSERT_FALSE(split.isEmpty());
    EXPECT_EQ(encodeSplit(pcm, c, chunks, dir.file(u"again.mp3"_s)), split); // a thread per chunk
    // One chunk: nothing to join, so LAME's own stream and information frame, byte for byte.
    const QByteArray single =
        encodeSplit(pcm, c, SplitMP3Encoder::plan(sourceFrames, c.inputRate, c.outputRate, frameSize, 1),
                    dir.file(u"single.mp3"_s));
    // Every encode before ffmpeg runs: after its vfork-style start ThreadSanitizer loses the order.

    const std::vector<short> wholeDecoded = decodeWithFFmpeg(wholePath);
    const std::vector<short> splitDecoded = decodeWithFFmpeg(splitPath);
    EXPECT_EQ(splitDecoded.size(), wholeDecoded.size());
    EXPECT_EQ(int64_t(wholeDecoded.size()), outputFrames * c.channels);
    EXPECT_EQ(MP3InfoFrame::announcedFrames(splitPath), int64_t(splitDecoded.size()) / c.channels);
    EXPECT_EQ(decodeWithMpg123(splitPath, c.channels), int64_t(splitDecoded.size()) / c.channels);

    // Around the seams too (a frame before the window to a few after it), where a fault shows first.
    double wholeSeams = 0, splitSeams = 0;
    for (size_t k = 1; k < chunks.size(); ++k) {
        const size_t from = size_t((chunks[k].seamFrame - 1) * frameSize * c.channels);
        const size_t to =
            size_t((chunks[k].seamFrame + MP3StreamJoiner::kSeamWindow + 4) * frameSize * c.channels);
        wholeSeams += snrDB(wholeDecoded, reference, from, to) / double(chunks.size() - 1);
        splitSeams += snrDB(splitDecoded, reference, from, to) / double(chunks.size() - 1);
    }
    EXPECT_NEAR(snrDB(splitDecoded, reference), snrDB(wholeDecoded, reference), 0.2);
    EXPECT_NEAR(splitSeams, wholeSeams, 0.5);

    const std::optional<MP3Frame> info = MP3Frame::parse(whole);
    ASSERT_TRUE(info.has_value());
    EXPECT_EQ(single.left(info->frameBytes()).toHex(' '), whole.left(info->frameBytes()).toHex(' '));
    EXPECT_TRUE(single == whole);
}

// Several features a row: resampling, mono, MPEG-2 frames, CRC words (checked by FFmpeg).
INSTANTIATE_TEST_SUITE_P(Modes, SplitMP3EncoderTest,
                         testing::Values(SplitCase{Method::CBR, 48000, 44100, 2},
                                         SplitCase{Method::ABR, 44100, 22050, 1, true},
                                         SplitCase{Method::VBR, 44100, 44100, 2, true}),
                         caseName);

// Cancelled at the first poll, encode() returns false with every thread stopped after reading
// little; a chunk failing halfway makes it throw once every thread stopped.
TEST(SplitMP3EncoderStop, onCancelAndOnAFailingChunk)
{
    const std::vector<short> second = Music{}.render(44100, 44100, 2);
    MemorySource::Counters counters;
    const auto encoder = [&](Method method, int64_t frames, bool failSecondChunk) {
        return SplitMP3Encoder(
            [=](lame_global_flags* gfp) {
                configure(gfp, {method, 44100, 44100, 2});
            },
            [&, failSecondChunk](const SplitMP3Encoder::Chunk& chunk) {
                return std::make_unique<MemorySource>(
                    second, 2, chunk.inputStart, chunk.inputFrames, &counters,
                    failSecondChunk && chunk.seamFrame > 0 ? chunk.inputFrames / 2 : -1);
            },
            SplitMP3Encoder::plan(frames, 44100, 44100, 1152, 2));
    };
    ScratchDir dir;
    const int64_t hour = 44100 * 3600;
    SplitMP3Encoder cancelled = encoder(Method::CBR, hour, false);
    int polls = 0;
    EXPECT_FALSE(encodeInto(cancelled, dir.file(u"cancelled.mp3"_s), [&](int64_t) { return ++polls < 1; }));
    EXPECT_EQ(polls, 1);
    EXPECT_EQ(counters.alive.load(), 0);
    EXPECT_LT(counters.read.load(), hour / 10);

    SplitMP3Encoder failing = encoder(Method::ABR, 44100 * 60, true);
    try {
        encodeInto(failing, dir.file(u"failed.mp3"_s), [](int64_t) { return true; });
        ADD_FAILURE() << "no exception";
    } catch (const NamedException& e) {
        EXPECT_EQ(e.name(), kIOException);
        EXPECT_EQ(e.reason(), u"The source could not be read."_s);
    }
    EXPECT_EQ(counters.alive.load(), 0);
}

} // namespace
