// A DSF file's header, its ID3v2 tag, the tag's mapping onto a record and its cover.

#include "AudioMetadata.h"
#include "FuzzEnvironment.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = FuzzEnvironment::writeScratchFile(data, size, ".dsf");
    // Reading never throws and always gives a record.
    const std::shared_ptr<AudioMetadata> record = AudioMetadata::metadataFromFile(path);
    if (!record)
        __builtin_trap();
    FuzzEnvironment::clearErrorLog();
    return 0;
}
