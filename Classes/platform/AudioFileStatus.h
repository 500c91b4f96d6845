#pragma once
// Status codes of the platform audio file reader (AudioFileReader), in the
// form desktop audio services use: 0 for success, otherwise a four-character
// code ('typ?') or a small negative number (-43). Messages show a status as
// its four-character text (statusText).

#include "CoreAudioTypes.h"

#include <QString>
#include <cstdint>

using OSStatus = int32_t;

constexpr OSStatus noErr = 0;
// The file does not exist.
constexpr OSStatus fnfErr = -43;
// The file exists but may not be read.
constexpr OSStatus kAudioFilePermissionsError = OSStatus(fourCC("prm?"));
// Neither library recognises the file's type.
constexpr OSStatus kAudioFileUnsupportedFileTypeError = OSStatus(fourCC("typ?"));
// The file type is known but its audio data cannot be decoded.
constexpr OSStatus kAudioFileUnsupportedDataFormatError = OSStatus(fourCC("fmt?"));
// The file claims a known type but its contents are malformed.
constexpr OSStatus kAudioFileInvalidFileError = OSStatus(fourCC("dta?"));
// A property the file does not carry.
constexpr OSStatus kAudioFileUnsupportedPropertyError = OSStatus(fourCC("pty?"));
// A client format the reader cannot deliver.
constexpr OSStatus kAudioConverterErr_FormatNotSupported = OSStatus(fourCC("fmt?"));
// Reading before a client format was set.
constexpr OSStatus kExtAudioFileError_InvalidOperationOrder = OSStatus(fourCC("ord?"));
// The library failed while reading.
constexpr OSStatus kAudioFileUnspecifiedError = OSStatus(fourCC("wht?"));

// The four characters of status when all four are printable ASCII ("typ?"),
// otherwise its decimal value ("-43").
QString statusText(OSStatus status);
