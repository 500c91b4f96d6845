#pragma once
// What every fuzzer needs around the code under test: a private home and
// XDG folders (preferences read by the naming code never touch the user's),
// a Qt application object, a scratch file for parsers that read from a path,
// and an error log emptied after each input (it keeps every message, and a
// fuzzer feeds it millions).
//
// Process-wide and single-threaded, as the fuzzers are.

#include <QString>
#include <cstddef>
#include <cstdint>

// The set-up runs from LLVMFuzzerInitialize, defined once in
// FuzzEnvironment.cpp for every fuzzer (the support library is linked as
// objects, so the definition is always there to be found).
namespace FuzzEnvironment {
// Sets the process up once.
void initialize(int* argc, char*** argv);
// Writes the input to the process's scratch file with the given extension
// (".dsf", ".ogg", ...) and gives its path. The file is rewritten, not
// recreated, for every input.
QString writeScratchFile(const uint8_t* data, size_t size, const char* extension);
// Forgets what the last input logged.
void clearErrorLog();
} // namespace FuzzEnvironment
