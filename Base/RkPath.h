#pragma once

#include <string>

#include "Base/QorBaseExport.h"

/// The text of a path. A value type; nothing is looked up.
class QOR_BASE_EXPORT RkPath {
public:
    RkPath() = default;
    explicit(false) RkPath(const std::string& text);
    explicit(false) RkPath(const char* text);

    /// Joins with exactly one "/" between the two parts (none when this path is empty).
    RkPath operator+(const std::string& part) const;
    RkPath& operator+=(const std::string& part);

    /// @return what follows the last "." of the last component, as written; empty when there is none
    std::string GetExtension() const;

    const std::string& GetText() const { return m_text; }
    explicit(false) operator const std::string&() const { return m_text; }

private:
    std::string m_text;
};
