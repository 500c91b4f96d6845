#include "Pcm.h"

#include "Tools.h"
#include "ZTDecoder.h"

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

std::vector<double> Pcm::channel(int index) const
{
    std::vector<double> out;
    out.reserve(frames());
    for (size_t i = size_t(index); i < samples.size(); i += size_t(channels))
        out.push_back(double(samples[i]) / 2147483648.0);
    return out;
}

Pcm pcmFromBytes(const std::vector<uint8_t>& bytes, const AudioStreamBasicDescription& format)
{
    Pcm pcm;
    pcm.channels = int(format.mChannelsPerFrame);
    pcm.sampleRate = format.mSampleRate;
    const uint32_t bytesPerSample =
        format.mChannelsPerFrame ? format.mBytesPerFrame / format.mChannelsPerFrame : 0;
    if (bytesPerSample == 0)
        return pcm;
    const size_t count = bytes.size() / bytesPerSample;
    pcm.samples.resize(count);
    for (size_t i = 0; i < count; ++i) {
        uint32_t value = 0;
        for (uint32_t b = 0; b < bytesPerSample; ++b)
            value |= uint32_t(bytes[i * bytesPerSample + b]) << (8 * (4 - bytesPerSample + b));
        pcm.samples[i] = int32_t(value);
    }
    return pcm;
}

void expectPackedFormat(const ZTDecoder& decoder, double sampleRate, uint32_t channels,
                        uint32_t bitsPerChannel, uint32_t bytesPerSample, uint32_t layoutTag)
{
    const AudioStreamBasicDescription format = decoder.decodeFormat();
    EXPECT_EQ(format.mFormatID, kAudioFormatLinearPCM);
    EXPECT_EQ(format.mFormatFlags, 12u) << "signed integer, packed";
    EXPECT_EQ(format.mSampleRate, sampleRate);
    EXPECT_EQ(format.mChannelsPerFrame, channels);
    EXPECT_EQ(format.mBitsPerChannel, bitsPerChannel);
    EXPECT_EQ(format.mBytesPerFrame, bytesPerSample * channels);
    EXPECT_EQ(format.mBytesPerPacket, format.mBytesPerFrame);
    EXPECT_EQ(format.mFramesPerPacket, 1u);
    ASSERT_NE(decoder.channelLayout(), nullptr);
    EXPECT_EQ(decoder.channelLayout()->mChannelLayoutTag, layoutTag);
}

Pcm decodeAll(ZTDecoder& decoder, uint32_t chunkFrames, size_t* emptyReadsBeforeTheEnd)
{
    const AudioStreamBasicDescription format = decoder.decodeFormat();
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> chunk(size_t(chunkFrames) * format.mBytesPerFrame);
    AudioBufferList list;
    int emptyReads = 0;
    while (true) {
        list.mNumberBuffers = 1;
        list.mBuffers[0].mNumberChannels = format.mChannelsPerFrame;
        list.mBuffers[0].mDataByteSize = uint32_t(chunk.size());
        list.mBuffers[0].mData = chunk.data();
        const uint32_t frames = decoder.readAudio(&list, chunkFrames);
        if (frames == 0) {
            if (decoder.isEndOfFile())
                break;
            if (emptyReadsBeforeTheEnd != nullptr)
                ++*emptyReadsBeforeTheEnd;
            if (++emptyReads > 100000) {
                ADD_FAILURE() << "decoder returns nothing and never reaches its end";
                break;
            }
            continue;
        }
        emptyReads = 0;
        bytes.insert(bytes.end(), chunk.begin(), chunk.begin() + size_t(frames) * format.mBytesPerFrame);
    }
    return pcmFromBytes(bytes, format);
}

Pcm decodeWithFFmpeg(const QString& path, const QString& streamSpecifier)
{
    Pcm pcm;
    const ToolResult probe = runTool(
        u"ffprobe"_s, {u"-v"_s, u"error"_s, u"-select_streams"_s, streamSpecifier, u"-show_entries"_s,
                       u"stream=channels,sample_rate"_s, u"-of"_s, u"default=noprint_wrappers=1"_s, path});
    for (const QString& line : QString::fromUtf8(probe.standardOutput).split(QLatin1Char('\n'))) {
        if (line.startsWith(QLatin1String("channels="))) {
            pcm.channels = line.mid(9).toInt();
        } else if (line.startsWith(QLatin1String("sample_rate="))) {
            pcm.sampleRate = line.mid(12).toDouble();
        }
    }
    const ToolResult decoded = runTool(u"ffmpeg"_s, {u"-nostdin"_s, u"-v"_s, u"error"_s, u"-i"_s, path,
                                                     u"-map"_s, u"0:"_s + streamSpecifier, u"-f"_s,
                                                     u"s32le"_s, u"-c:a"_s, u"pcm_s32le"_s, u"-"_s});
    EXPECT_EQ(decoded.exitCode, 0) << decoded.standardError.toStdString();
    pcm.samples.resize(size_t(decoded.standardOutput.size()) / 4);
    std::memcpy(pcm.samples.data(), decoded.standardOutput.constData(), pcm.samples.size() * 4);
    return pcm;
}

ToneFit fitTone(const Pcm& pcm, int channel, double frequency, double skipSeconds)
{
    const std::vector<double> x = pcm.channel(channel);
    const size_t skip = size_t(pcm.sampleRate * skipSeconds);
    if (x.size() <= skip + 2) {
        return {};
    }
    const auto phase = [&](size_t i) { return 2 * M_PI * frequency * double(i) / pcm.sampleRate; };
    double ss = 0, sc = 0, cc = 0, xs = 0, xc = 0;
    for (size_t i = skip; i < x.size(); ++i) {
        const double s = std::sin(phase(i)), c = std::cos(phase(i));
        ss += s * s, sc += s * c, cc += c * c, xs += x[i] * s, xc += x[i] * c;
    }
    const double det = ss * cc - sc * sc;
    const double a = (xs * cc - xc * sc) / det, b = (xc * ss - xs * sc) / det;
    double residual = 0;
    for (size_t i = skip; i < x.size(); ++i) {
        const double e = x[i] - a * std::sin(phase(i)) - b * std::cos(phase(i));
        residual += e * e;
    }
    const double amplitude = std::hypot(a, b);
    const double residualRMS = std::sqrt(residual / double(x.size() - skip));
    return {amplitude, 20 * std::log10(residualRMS / (amplitude / std::sqrt(2.0)))};
}

Alignment bestAlignment(const Pcm& a, const Pcm& b, long maxLag, int channel)
{
    const std::vector<double> x = a.channel(channel);
    const std::vector<double> y = b.channel(channel);
    Alignment best{0, -2.0};
    for (long lag = -maxLag; lag <= maxLag; ++lag) {
        double sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
        size_t n = 0;
        for (size_t i = 0; i < x.size(); ++i) {
            const long j = long(i) + lag;
            if (j < 0 || size_t(j) >= y.size())
                continue;
            const double xv = x[i], yv = y[size_t(j)];
            sx += xv, sy += yv, sxx += xv * xv, syy += yv * yv, sxy += xv * yv, ++n;
        }
        if (n < 2)
            continue;
        const double cov = sxy - sx * sy / double(n);
        const double vx = sxx - sx * sx / double(n);
        const double vy = syy - sy * sy / double(n);
        const double r = (vx > 0 && vy > 0) ? cov / std::sqrt(vx * vy) : 0.0;
        if (r > best.correlation) {
            best = Alignment{lag, r};
        }
    }
    return best;
}

size_t countDifferences(const Pcm& a, const Pcm& b)
{
    const size_t n = std::min(a.samples.size(), b.samples.size());
    size_t differences = std::max(a.samples.size(), b.samples.size()) - n;
    for (size_t i = 0; i < n; ++i)
        differences += a.samples[i] != b.samples[i] ? 1 : 0;
    return differences;
}
