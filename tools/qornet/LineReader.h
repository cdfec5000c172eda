#pragma once

#include <cstdio>
#include <string_view>
#include <vector>

#include "Base/RkTypes.h"

/// Reads a file line by line in big steps, without copying the lines. Takes the same room however long the lines are.
class LineReader {
public:
    static constexpr std::size_t LONGEST = 1 << 20;  ///< bytes of the longest line, its end included

    /// @param file  borrowed; nothing else reads it meanwhile
    explicit LineReader(std::FILE* file);

    /// @param[out] line  without LF and CR before it; valid until the next call. Empty in place of a line that is too long.
    /// @return false at the end. Throws CommandFailed when the file cannot be read.
    bool Next(std::string_view& line);

    RkUInt64 GetPosition() const { return m_position; }  ///< bytes handed out so far

private:
    bool Refill();
    void Take(std::size_t length, std::string_view& line);
    bool TakeTooLong(std::string_view& line);

    std::FILE* m_file;
    std::vector<char> m_buffer;
    std::string_view m_rest;  ///< what is in the buffer and not handed out
    RkUInt64 m_position = 0;
};
