#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/// A folder of a test's own, removed with all that is in it when the scope ends.
class TempDir {
public:
    TempDir() {
        std::string pattern = std::filesystem::temp_directory_path() / "qor-test-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        m_path = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// The path of `name` in the folder.
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};
