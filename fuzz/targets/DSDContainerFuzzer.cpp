// DSF and DSDIFF containers through the DSD decoder: the header parsers, the
// block geometry they derive and the decoding of every block they announce.
// The container is recognised by its magic, so one extension serves both.

#include "DSDDecoder.h"
#include "FuzzEnvironment.h"

#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QString path = FuzzEnvironment::writeScratchFile(data, size, ".dsf");
    try {
        DSDDecoder decoder;
        if (decoder.initWithFilename(path)) {
            const uint32_t bytesPerFrame = decoder.decodeFormat().mBytesPerFrame;
            constexpr uint32_t kChunkFrames = 4096;
            std::vector<uint8_t> chunk(size_t(kChunkFrames) * bytesPerFrame);
            AudioBufferList list;
            // A header that lies about its length must still end: the
            // decoder refuses more blocks than the file holds, so this bound
            // is never the one that stops a correct decoder.
            for (int reads = 0; reads < 100000; ++reads) {
                list.mNumberBuffers = 1;
                list.mBuffers[0].mNumberChannels = decoder.decodeFormat().mChannelsPerFrame;
                list.mBuffers[0].mDataByteSize = uint32_t(chunk.size());
                list.mBuffers[0].mData = chunk.data();
                if (decoder.readAudio(&list, kChunkFrames) == 0 && decoder.isEndOfFile()) {
                    break;
                }
            }
        }
    } catch (...) {
        // A damaged stream raises, and the encode operation catches it at
        // its top as this does; only a crash or a sanitizer report counts.
    }
    FuzzEnvironment::clearErrorLog();
    return 0;
}
