#pragma once
// Private home, Qt application, scratch file and error log for every (single-threaded) fuzzer.

#include <QString>
#include <cstddef>
#include <cstdint>

// Set up from LLVMFuzzerInitialize in FuzzEnvironment.cpp.
namespace FuzzEnvironment {
void initialize(int* argc, char*** argv);
// Rewrites the scratch file with this extension (".dsf", ...) to the input; its path.
QString writeScratchFile(const uint8_t* data, size_t size, const char* extension);
void clearErrorLog();
} // namespace FuzzEnvironment
