#include "Base/RkFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <optional>

#include "Base/RkException.h"
#include "Base/RkFileSystem.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using testing::Property, testing::Throws;

/// A folder with a file in it.
struct RkFileTest : testing::Test {
    RkFileTest() { std::ofstream(m_file) << "0123456789"; }

    const TempDir m_dir;
    const std::string m_folder = fs::canonical(m_dir / "").string() + "/";
    const std::string m_file = m_folder + "file";
};

TEST_F(RkFileTest, OpensAsItsModeSays) {
    const std::pair<const char*, RkUInt64> cases[] = {{"r+", 10}, {"rb", 10}, {"ab", 13},
                                                      {"a+", 16}, {"w", 3},   {"w+b", 3}};
    for (const auto& [mode, size] : cases) {
        RkFile file(m_file, mode);
        file.Write("NEW", 3);
        RkUInt64 sizeNow = 0;
        EXPECT_TRUE(file.IsRegular(sizeNow));
        EXPECT_EQ(sizeNow, size) << mode;
    }
}

TEST_F(RkFileTest, NamesPathAndReasonOfAFailure) {
    const std::array<std::string, 3> cases[] = {
        {m_folder + "missing", "rb", "No such file or directory"},
        {m_file, "wx", "File exists"},
        {m_file, "q", "Invalid argument"},
        {m_file + std::string("\0.txt", 5), "rb", "Invalid argument"},
    };
    for (const auto& c : cases)
        EXPECT_THAT([&] { RkFile(c[0], c[1].c_str()); },
                    Throws<RkException>(Property(&RkException::GetMessage, "Cannot open '" + c[0] + "': " + c[2])));
}

TEST_F(RkFileTest, ClosesOnce) {
    RkFile file(m_file, "rb");
    file.Close();
    RkFile other(m_file, "rb");  // gets the number
    file.Close();
    EXPECT_EQ(other.Seek(7, SEEK_SET), 7);
}

TEST_F(RkFileTest, AFifoHoldsNobodyAndIsNotRegular) {
    const std::string path = m_folder + "fifo";
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    RkUInt64 size;
    std::optional<RkFile> reader(std::in_place, path, "rb");  // hangs if it waits for a writer
    EXPECT_FALSE(reader->IsRegular(size));
    RkFile writer(path, "wb");
    reader.reset();
    EXPECT_EQ(writer.Write("x", 1), -1);  // and no signal ends this process
}

TEST_F(RkFileTest, CanonicalPathsHaveNoLinksAndNoDots) {
    fs::rename(m_file, m_file + " (deleted)");  // a name that the kernel gives to what is gone
    fs::create_symlink(m_folder, m_folder + "link");
    fs::create_symlink("nowhere", m_folder + "dangling");
    const std::pair<std::string, std::string> cases[] = {
        {m_folder + "link/.//../" + fs::path(m_folder).parent_path().filename().string() + "/file (deleted)",
         m_file + " (deleted)"},
        {"/", "/"},
        {m_folder + "dangling", ""},
        {m_folder + std::string("\0x", 2), ""},
        {std::string(5000, 'x'), ""},
        {"", ""},
    };
    for (const auto& [path, canonical] : cases)
        EXPECT_EQ(RkFileSystem::GetCanonicalPath(path), canonical) << path;
}

TEST_F(RkFileTest, AnswersQuestionsWithoutThrowing) {
    EXPECT_TRUE(RkFileSystem::IsDir(m_folder) && !RkFileSystem::IsDir(m_file));
    EXPECT_TRUE(RkFileSystem::Exists(m_file) && !RkFileSystem::Exists(m_file + std::string("\0x", 2)));
    EXPECT_EQ(RkFileSystem::GetFileSize(m_file), 10U);
    EXPECT_EQ(RkFileSystem::GetFileSize(m_folder), 0U);
}

TEST(RkPathTest, JoinsWithOneSlashAndKnowsTheExtension) {
    EXPECT_EQ((RkPath("/srv//") + "/.profile").GetText(), "/srv/.profile");
    EXPECT_EQ((RkPath("/") + "x").GetText() + (RkPath() + "/y").GetText(), "/x/y");
    for (const auto& [path, extension] : {std::pair("/srv/.profile", "profile"), {"x.tar.GZ", "GZ"}, {"/a.b/c", ""}})
        EXPECT_EQ(RkPath(path).GetExtension(), extension);
}
