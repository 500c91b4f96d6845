// DSF and DSDIFF (told apart by magic) through the DSD decoder: headers, block geometry, decoding.

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
            // A bound a correct decoder never reaches, for headers that lie about their length.
            for (int reads = 0; reads < 100000; ++reads) {
                list.mNumberBuffers = 1;
                list.mBuffers[0].mNumberChannels = decoder.decodeFormat().mChannelsPerFrame;
                list.mBuffers[0].mDataByteSize = uint32_t(chunk.size());
                list.mBuffers[0].mData = chunk.data();
                if (decoder.readAudio(&list, kChunkFrames) == 0 && decoder.isEndOfFile())
                    break;
            }
        }
    } catch (...) {
        // A damaged stream raises, as the encode operation expects.
    }
    FuzzEnvironment::clearErrorLog();
    return 0;
}
