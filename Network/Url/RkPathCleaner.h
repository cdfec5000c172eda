#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Takes dot segments and empty segments out of a path, in the room of the path itself. Not exported.
class RkPathCleaner {
public:
    /// @param filename  path and, from the first "?" on, a query, which stays as it is. The cleaned path has no "/" in front,
    ///                  and one at its end if it had one and is not empty. A NUL ends the search for segments: what
    ///                  follows belongs to the segment where it stands.
    static void Clean(std::string& filename);

private:
    explicit RkPathCleaner(char* text) : m_text(text) {}

    void Add(std::string_view segment);
    bool CanGoUp() const;
    void DropLast();
    void Append(std::string_view segment);
    void AppendSlash();

    char* m_text;
    std::size_t m_size = 0;  ///< of what is kept so far, never more than what was read
};
