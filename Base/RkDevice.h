#pragma once

#include <sys/types.h>

#include "Base/QorBaseExport.h"
#include "Base/RkTypes.h"

/// A byte device: a socket, a file, a text in memory. The virtual operations stand in slot order; callers' subclasses rely
/// on it, and no further one is added.
class QOR_BASE_EXPORT RkDevice {
public:
    virtual ~RkDevice();

    /// Reads what is there, at most `count` bytes.
    /// @return the number of bytes; 0 at the end (or on a time-out); -1 on an error, with errno set
    virtual ssize_t Read(char* data, size_t count) = 0;

    /// @return the number of bytes taken, which may be less than `count`; -1 on an error, with errno set
    virtual ssize_t Write(const char* data, size_t count) = 0;

    /// Hands on what the device itself holds back. @return whether that worked
    virtual bool Flush() = 0;

    /// Gives back what the device holds; a second call does nothing.
    virtual void Close() = 0;

    /// @param whence  SEEK_SET, SEEK_CUR or SEEK_END
    /// @return the new position; -1 where the device has none, as here
    virtual long Seek(long offset, int whence);

    /// @return the position; -1 where the device has none, as here
    virtual long Tell();

    /// Writes all of `count` bytes. Throws an RkException when the device fails (or takes nothing) first.
    virtual void WriteExactly(const char* data, size_t count);
    virtual void WriteUInt64(RkUInt64 value);  ///< eight bytes, network byte order; throws as WriteExactly
    virtual void WriteUInt32(RkUInt32 value);  ///< four bytes, network byte order; throws as WriteExactly
    virtual void WriteUInt16(RkUInt16 value);  ///< two bytes, network byte order; throws as WriteExactly

    /// Reads all of `count` bytes. Throws an RkException when the device ends or fails first.
    virtual void ReadExactly(char* data, size_t count);
    virtual RkUInt64 ReadUInt64();  ///< from network byte order; throws as ReadExactly
    virtual RkUInt32 ReadUInt32();  ///< from network byte order; throws as ReadExactly
    virtual RkUInt16 ReadUInt16();  ///< from network byte order; throws as ReadExactly
};
