// Ogg codec sniffing and the Opus identification header.

#include "FuzzEnvironment.h"
#include "OpusHeader.h"
#include "UtilityFunctions.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = FuzzEnvironment::writeScratchFile(data, size, ".ogg");
    try {
        (void)oggStreamType(path);
    } catch (const std::exception&) {
        // What is not an Ogg stream raises, for the decoder factory to log.
    }
    // The same bytes as a first packet: an accepted header must be one a decoder can be built for.
    if (const std::optional<OpusHeader> header = OpusHeader::parse(data, size)) {
        if (header->channels < 1 || header->nbStreams < 1 || header->nbCoupled > header->nbStreams)
            __builtin_trap();
        for (int channel = 0; channel < header->channels; ++channel) {
            const int stream = header->streamMap[size_t(channel)];
            if (stream != 255 && stream >= header->nbStreams + header->nbCoupled)
                __builtin_trap();
        }
    }
    FuzzEnvironment::clearErrorLog();
    return 0;
}
