#include "AudioFileReader.h"
#include "Fixtures.h"
#include "Pcm.h"
#include "Tools.h"

#include <gtest/gtest.h>

namespace {

std::unique_ptr<AudioFileReader> openGenerated(const char* name)
{
    OSStatus status = noErr;
    auto reader = AudioFileReader::open(Fixtures::generated(QLatin1String(name)), status);
    EXPECT_EQ(status, noErr) << statusText(status).toStdString();
    return reader;
}

AudioStreamBasicDescription integerFormat(double rate, uint32_t channels, uint32_t bits, uint32_t bytes)
{
    AudioStreamBasicDescription format;
    format.mSampleRate = rate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kLinearPCMFormatFlagsSignedPacked;
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = bits;
    format.mBytesPerFrame = bytes * channels;
    format.mBytesPerPacket = format.mBytesPerFrame;
    format.mFramesPerPacket = 1;
    return format;
}

// The first frames of path at the client format (empty, and a failure, when impossible).
Pcm readAtClientFormat(const QString& path, const AudioStreamBasicDescription& client, uint32_t frames)
{
    OSStatus status = noErr;
    auto reader = AudioFileReader::open(path, status);
    if (reader == nullptr || reader->setClientDataFormat(client) != noErr) {
        ADD_FAILURE() << "cannot read " << path.toStdString() << " at " << client.mBitsPerChannel << " bits";
        return Pcm{};
    }
    std::vector<uint8_t> bytes(size_t(frames) * client.mBytesPerFrame);
    AudioBufferList list;
    list.mNumberBuffers = 1;
    list.mBuffers[0] = AudioBuffer{client.mChannelsPerFrame, uint32_t(bytes.size()), bytes.data()};
    uint32_t read = frames;
    EXPECT_EQ(reader->read(read, &list), noErr);
    EXPECT_EQ(read, frames);
    return pcmFromBytes(bytes, client);
}

struct NamesCase
{
    const char* file;
    const char* fileType;
    const char* dataFormat;
    uint32_t formatID;
    uint32_t formatFlags;
};

class ReaderNames : public testing::TestWithParam<NamesCase>
{
};

TEST_P(ReaderNames, TellTheOpeningLibrarysNamesAndTheSourceFormat)
{
    auto reader = openGenerated(GetParam().file);
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(reader->fileTypeName(), QLatin1String(GetParam().fileType));
    EXPECT_EQ(reader->dataFormatName(), QLatin1String(GetParam().dataFormat));
    AudioStreamBasicDescription format;
    EXPECT_EQ(reader->getFileDataFormat(format), noErr);
    EXPECT_EQ(format.mFormatID, GetParam().formatID);
    EXPECT_EQ(format.mFormatFlags, GetParam().formatFlags);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ReaderNames,
    testing::Values(
        NamesCase{"plat-src-44k-2-16.wav", "WAV (Microsoft)", "Signed 16 bit PCM", kAudioFormatLinearPCM, 12},
        NamesCase{"plat.aiff", "AIFF (Apple/SGI)", "Signed 16 bit PCM", kAudioFormatLinearPCM, 14},
        NamesCase{"plat-float.wav", "WAV (Microsoft)", "32 bit float", kAudioFormatLinearPCM, 9},
        NamesCase{"plat-alac20.m4a", "QuickTime / MOV", "ALAC (Apple Lossless Audio Codec)",
                  kAudioFormatAppleLossless, 2},
        NamesCase{"plat-aac.m4a", "QuickTime / MOV", "AAC (Advanced Audio Coding)", kAudioFormatMPEG4AAC, 0},
        NamesCase{"plat.mp3", "MPEG-1/2 Audio", "MPEG Layer III", kAudioFormatMPEGLayer3, 0}),
    [](const testing::TestParamInfo<NamesCase>& info) { return testNameOf(QLatin1String(info.param.file)); });

TEST(AudioFileReader, RefusesClientFormatsItCannotDeliver)
{
    auto reader = openGenerated("plat-src-48k-2-24.wav");
    ASSERT_NE(reader, nullptr);
    AudioStreamBasicDescription floating = integerFormat(48000, 2, 32, 4);
    floating.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    for (const AudioStreamBasicDescription& refused :
         {floating, integerFormat(48000, 2, 12, 2), integerFormat(48000, 1, 16, 2), integerFormat(44100, 2, 16, 2)}) {
        EXPECT_EQ(reader->setClientDataFormat(refused), kAudioConverterErr_FormatNotSupported)
            << refused.mBitsPerChannel << " bits, " << refused.mChannelsPerFrame << " channels";
    }
}

// Every client width gets the 24-bit signal rounded; full scale saturates instead of wrapping.
TEST(AudioFileReader, NarrowerClientsGetRoundedSamplesThatSaturate)
{
    const Pcm source = decodeWithFFmpeg(Fixtures::generated("plat-src-48k-2-24.wav"));
    for (uint32_t bytes : {1u, 2u, 3u, 4u}) {
        const Pcm pcm = readAtClientFormat(Fixtures::generated("plat-src-48k-2-24.wav"),
                                           integerFormat(48000, 2, bytes * 8, bytes), 48000);
        ASSERT_EQ(pcm.frames(), 48000u);
        const int64_t halfStep = bytes == 4 ? 0 : int64_t(1) << (31 - 8 * bytes);
        size_t far = 0;
        for (size_t i = 0; i < pcm.samples.size(); ++i) {
            far += std::llabs(int64_t(pcm.samples[i]) - source.samples[i]) > halfStep ? 1 : 0;
        }
        EXPECT_EQ(far, 0u) << bytes << " bytes";
    }

    ScratchDir scratch;
    const QString path = scratch.file("full-scale.wav");
    // A square wave at full scale: 240 frames of +0x7FFFFF, then 240 of -0x800000.
    ASSERT_EQ(runTool("sox", {"-D", "-V1", "-n", "-r", "48000", "-c", "1", "-b", "24", path, "synth", "0.01",
                              "square", "100"})
                  .exitCode,
              0);
    for (uint32_t bytes : {1u, 2u}) {
        const Pcm pcm = readAtClientFormat(path, integerFormat(48000, 1, bytes * 8, bytes), 480);
        ASSERT_EQ(pcm.frames(), 480u);
        const int32_t top = int32_t(0x7FFFFFFF) & ~int32_t((int64_t(1) << (32 - 8 * bytes)) - 1);
        EXPECT_EQ(pcm.samples[0], top) << bytes << " bytes";
        EXPECT_EQ(pcm.samples[120], top) << bytes << " bytes";
        EXPECT_EQ(pcm.samples[360], INT32_MIN) << bytes << " bytes";
    }
}

} // namespace
