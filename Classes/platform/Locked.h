#pragma once
// Reading and writing one member under its owner's mutex: the accessors of
// objects that any thread may use (AlbumArtwork, EncodeOperation) are made of
// these, so that no accessor can forget the lock.

#include <mutex>
#include <utility>

namespace Locked {

// A copy of field, taken under mutex.
template <class T, class Mutex> T read(Mutex& mutex, const T& field)
{
    std::lock_guard lock(mutex);
    return field;
}

// Stores value into field under mutex.
template <class T, class Mutex, class V> void write(Mutex& mutex, T& field, V&& value)
{
    std::lock_guard lock(mutex);
    field = std::forward<V>(value);
}

} // namespace Locked
