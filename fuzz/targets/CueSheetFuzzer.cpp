// The cue sheet reader: encoding guess, libcue's parse, REM lines and each track's span.

#include "CueSheet.h"
#include "FuzzData.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    FuzzData input(data, size);
    const int sampleRate = int(input.takeUInt32() % 400000);
    const qint64 fileSamples = qint64(input.takeUInt32());
    const CueSheet sheet = CueSheet::parse(input.takeRest());
    for (int i = 0; i < sheet.tracks.size(); ++i) {
        QString problem;
        const std::optional<CueSheet::Span> span = sheet.span(i, sampleRate, fileSamples, &problem);
        // A span is inside the file and not empty, or there is a reason.
        if (span ? span->length <= 0 || span->start + span->length > fileSamples : problem.isEmpty())
            __builtin_trap();
    }
    return 0;
}
