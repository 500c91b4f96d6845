// The chunk walk of WAVE/AIFF/CAF files and the readers of their uuid, midi and CHAN/chan chunks.

#include "AudioFileChunks.h"
#include "AudioMetadata.h"
#include "ChannelLayoutChunk.h"
#include "FuzzEnvironment.h"
#include "PlatformMetadataReader.h"
#include "ZTMIDIParser.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = FuzzEnvironment::writeScratchFile(data, size, ".wav");
    AudioMetadata record;
    for (const AudioFileChunks::Chunk& chunk : AudioFileChunks::userChunks(path)) {
        if (chunk.first == QLatin1String("uuid")) {
            PlatformMetadataReader::addLoopInformation(chunk.second, record);
        } else if (chunk.first == QLatin1String("midi")) {
            (void)ZTMIDIParser::initWithData(chunk.second);
        } else if (chunk.first == QLatin1String("CHAN") || chunk.first == QLatin1String("chan")) {
            for (uint32_t channels = 1; channels <= 8; ++channels) {
                const std::optional<AudioChannelLayout> layout =
                    ChannelLayoutChunk::parse(chunk.second, channels);
                if (layout && layout->numberChannelDescriptions() > channels)
                    __builtin_trap();
            }
        }
    }
    (void)AudioFileChunks::firstChunk(path, QByteArrayLiteral("midi"));
    // The layout reader on the raw bytes too, without a container around them.
    const QByteArray raw = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    (void)ChannelLayoutChunk::parse(raw, size ? data[0] % 9 : 2);
    FuzzEnvironment::clearErrorLog();
    return 0;
}
