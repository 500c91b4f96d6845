#pragma once
// Between the metadata record and APEv2 tags (an item list keyed by
// case-insensitive names), both directions.
//
// Reading takes, for each field still absent, the first non-empty item of
// the names that field may be stored under. Two readings are kept exactly as
// the program has always done them:
//   - a "COMPILATION" item is read into bpm (1 or 0), not into the
//     compilation flag, which is never read from APE tags;
//   - a cover item (name, NUL, image bytes) always reads as a front cover,
//     also from "Cover Art (back)".
//
// Writing replaces the items the record maps to and leaves the others. The
// record's own comment is not written; the caller passes the comment text,
// and likewise the "encoded by" text. An existing "Cover Art (back)" item
// stays when a front cover is written.
//
// Ownership: the tag belongs to the caller. Threads: writers run on the one
// tagging thread; readers anywhere. Never fails.

#include "AudioMetadata.h"

#include <QByteArray>
#include <QString>
#include <optional>

namespace TagLib {
namespace APE {
class Tag;
}
} // namespace TagLib

class APETagMapping
{
public:
    static void addInfoFromAPETag(const TagLib::APE::Tag* tag, AudioMetadata& metadata);
    static void fillOutAPETag(const AudioMetadata& metadata, TagLib::APE::Tag* tag,
                              const std::optional<QString>& encodedBy, const std::optional<QString>& comment);

    // The bytes of one APEv2 item: value length and flags (32-bit
    // little-endian each), the key, a NUL, then the value.
    static QByteArray renderItem(const QString& key, uint32_t flags, const QByteArray& value);
};
