// Whole conversions from WAV sources of every sample width, checked with FFmpeg: rate, channels,
// bit rate, the source's exact length and waveform, the Xing/Info and LAME headers.

#include "MP3EncodeOperation.h"
#include "Encoding.h"
#include "Fixtures.h"
#include "Pcm.h"
#include "TagDump.h"
#include "Tools.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>
#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QJsonObject probeStream(const QString& path)
{
    return ffprobe(path, {"-show_streams"})["streams"][0].toObject();
}

// The first MPEG frame after any ID3v2 tag.
QByteArray firstFrame(const QString& path)
{
    const QByteArray bytes = fileBytes(path);
    qsizetype offset = 0;
    if (bytes.startsWith("ID3") && bytes.size() > 10) {
        offset = 10 + ((bytes[6] & 0x7F) << 21 | (bytes[7] & 0x7F) << 14 | (bytes[8] & 0x7F) << 7 |
                       (bytes[9] & 0x7F));
    }
    return bytes.mid(offset, 1500);
}

struct ConversionCase
{
    const char* source;
    int method; // 0 CBR, 1 ABR, 2 VBR
};

std::string caseName(const testing::TestParamInfo<ConversionCase>& info)
{
    static const char* const kMethods[] = {"CBR", "ABR", "VBR"};
    return testNameOf(QString::fromLatin1(info.param.source).section(u'.', 0, 0)) + "_" +
           kMethods[info.param.method];
}

} // namespace

class Conversion : public testing::TestWithParam<ConversionCase>
{
};

TEST_P(Conversion, matchesTheSourceInFFmpeg)
{
    const ConversionCase c = GetParam();
    ScratchDir out;
    PreferencesScope preferences({{"destinationDirectory", out.path()}});
    ErrorLogCapture log;
    BasicEncodeDelegate delegate;
    const QString source = Fixtures::generated(QString::fromLatin1(c.source));
    MP3EncodeOperation operation(source, source);
    operation.setDelegate(&delegate);
    operation.setSettings(mp3Format(c.method));
    runOperation(operation);

    ASSERT_TRUE(operation.success()) << log.messages().join(u'\n').toStdString();
    const QString output = out.file(QFileInfo(source).completeBaseName() + u".mp3"_s);
    ASSERT_EQ(operation.outFilePath(), output);
    ASSERT_TRUE(QFileInfo::exists(output));
    EXPECT_FALSE(QFileInfo::exists(operation.tempFilePath()));
    EXPECT_EQ(delegate.createdOutputPaths(), QStringList{output});

    const Pcm original = decodeWithFFmpeg(source);
    const QJsonObject stream = probeStream(output);
    EXPECT_EQ(stream["codec_name"].toString(), u"mp3"_s);
    EXPECT_EQ(stream["sample_rate"].toString().toDouble(), original.sampleRate);
    EXPECT_EQ(stream["channels"].toInt(), original.channels);
    const double bitrate = stream["bit_rate"].toString().toDouble();
    if (c.method == 0) {
        EXPECT_EQ(bitrate, 128000);
    } else {
        EXPECT_GT(bitrate, 32000);
        EXPECT_LT(bitrate, 256000);
    }

    const QByteArray frame = firstFrame(output);
    EXPECT_TRUE(frame.contains(c.method == 0 ? "Info" : "Xing")) << frame.left(64).toHex().toStdString();
    EXPECT_TRUE(frame.contains("LAME"));
    // LAME's header tells how it was asked to encode: 128 kbit/s CBR or ABR, VBR quality 8 as -V 2.
    static const char* const kLameSettings[] = {"-b 128", "--preset 128", "-V 2"};
    runMutagen(QStringLiteral("import sys\nfrom mutagen.mp3 import MP3\n"
                              "settings = MP3(sys.argv[1]).info.encoder_settings\n"
                              "assert settings == '%1', settings\n")
                   .arg(QLatin1String(kLameSettings[c.method])),
               output);

    const Pcm encoded = decodeWithFFmpeg(output);
    EXPECT_EQ(encoded.frames(), original.frames()) << "delay and padding are honoured";
    for (int channel = 0; channel < original.channels; ++channel) {
        const Alignment alignment = bestAlignment(original, encoded, 1200, channel);
        EXPECT_GT(alignment.correlation, 0.99) << "channel " << channel;
        EXPECT_LE(std::abs(alignment.lag), 1) << "channel " << channel;
    }
}

INSTANTIATE_TEST_SUITE_P(WavSources, Conversion,
                         testing::ValuesIn(std::vector<ConversionCase>{
                             {"encode-8-mono-22050.wav", 0},
                             {"encode-8-stereo-44100.wav", 1},
                             {"encode-16-stereo-44100.wav", 0},
                             {"encode-24-stereo-48000.wav", 2},
                             {"encode-32-mono-44100.wav", 2},
                         }),
                         caseName);

// The output format's channel mode and sample rate reach LAME.
TEST(MP3EncodeOperation, channelModeAndOutputRate)
{
    const QString source = Fixtures::generated(u"encode-16-stereo-44100.wav"_s);
    // Channel mode, rate asked, MPEG header mode (0 stereo, 1 joint, 3 mono), rate made, channels.
    for (const auto& [mode, rate, headerMode, outputRate, channels] :
         {std::tuple{1, 44100, 0, 44100.0, 2}, {2, 22050, 1, 22050.0, 2}, {3, 96000, 3, 44100.0, 1}}) {
        ScratchDir out;
        PreferencesScope preferences({{"destinationDirectory", out.path()}});
        BasicEncodeDelegate delegate;
        MP3EncodeOperation operation(source, source);
        operation.setDelegate(&delegate);
        operation.setSettings(mp3Format(0, 96, 8, mode, rate));
        runOperation(operation);
        ASSERT_TRUE(operation.success());
        const QJsonObject stream = probeStream(operation.outFilePath());
        EXPECT_EQ(stream["sample_rate"].toString().toDouble(), outputRate) << mode;
        EXPECT_EQ(stream["channels"].toInt(), channels) << mode;
        const QByteArray frame = firstFrame(operation.outFilePath()); // the information frame has the mode
        ASSERT_GT(frame.size(), 3);
        EXPECT_EQ((uchar(frame[3]) >> 6) & 3, headerMode) << mode;
    }
}

// Sources LAME cannot take or nothing can open fail with their message and leave no file behind.
TEST(MP3EncodeOperation, failuresLeaveNoFiles)
{
    ScratchDir in;
    const QString notAudio = in.copyOf(Fixtures::generated(u"art.png"_s), u"notes.wav"_s);
    const QString threeChannels = Fixtures::generated(u"encode-3-channels.wav"_s);

    for (const auto& [source, message] :
         {std::pair{threeChannels, u"MP3 Encode Operation Failed To Encode File: encode-3-channels.wav.  "
                                   u"Error:Unable to initialize the LAME encoder."_s},
          {notAudio, u"MP3 Encode Operation Aborting. Could Not Initialize Any Decoder For File: %1."_s.arg(notAudio)}}) {
        ScratchDir out;
        PreferencesScope preferences({{"destinationDirectory", out.path()}});
        ErrorLogCapture log;
        BasicEncodeDelegate delegate;
        MP3EncodeOperation operation(source, source);
        operation.setDelegate(&delegate);
        operation.setSettings(mp3Format(2));
        runOperation(operation);
        EXPECT_TRUE(operation.isFinished());
        EXPECT_FALSE(operation.success());
        EXPECT_TRUE(log.contains(message)) << log.messages().join(u'\n').toStdString();
        EXPECT_TRUE(QDir(out.path()).isEmpty());
        EXPECT_TRUE(operation.tempFilePath().isEmpty() || !QFileInfo::exists(operation.tempFilePath()));
    }
}
