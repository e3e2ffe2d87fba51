#include "Platform/FileManager.h"
#include "Tests/Platform/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <sys/xattr.h>

namespace tarn {

TEST(FileManagerLinux, aReplacedFileKeepsItsExtendedAttributes) {
    const TemporaryFolder folder;
    const auto file = folder.path() / "file";
    writeText(file, "old");
    const std::string value("a\0b", 3);
    ASSERT_EQ(::setxattr(file.c_str(), "user.tarn.tag", value.data(), value.size(), 0), 0);
    ASSERT_EQ(::setxattr(file.c_str(), "user.tarn.empty", "", 0, 0), 0);
    ASSERT_TRUE(FileManager::writeAtomically(Data(3, std::byte{'x'}), file));
    char kept[16];
    EXPECT_EQ(::getxattr(file.c_str(), "user.tarn.tag", kept, sizeof kept), 3);
    EXPECT_EQ(std::string(kept, 3), value);
    EXPECT_EQ(::getxattr(file.c_str(), "user.tarn.empty", kept, sizeof kept), 0);
    EXPECT_EQ(textOf(file), "xxx");
}

} // namespace tarn
