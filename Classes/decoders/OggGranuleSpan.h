#pragma once
// Length of an Ogg Opus or Speex file from its first and last page headers,
// read through TagLib's Ogg file classes: the last page's granule position
// minus the first page's. Nothing else of the file is looked at.
//
// Pure functions of the file; callable from any thread.

#include <QString>
#include <cstdint>

namespace OggGranuleSpan {

// last − first granule, or -1 when the file is not valid for TagLib, a page
// header is missing, the first granule is negative or the last one below 1.
int64_t ofOpusFile(const QString& path);
int64_t ofSpeexFile(const QString& path);

} // namespace OggGranuleSpan
