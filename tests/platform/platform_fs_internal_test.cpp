#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

#include "test_support.h"
#include "ut_platform.h"

namespace up = ut::platform;
using up::EDriveType;
using up::MountEntry;

namespace {

MountEntry mount(std::string point, std::string type) {
  MountEntry entry;
  entry.mountPoint = std::move(point);
  entry.fsType = std::move(type);
  return entry;
}

// Answers one drive type for every root; the rest is fixed.
class FakeFileSystemInfo : public up::FileSystemInfo {
 public:
  explicit FakeFileSystemInfo(EDriveType type) : m_type(type) {}
  bool isNetworkPath(const std::wstring&) const override { return true; }
  std::wstring rootOf(const std::wstring&) const override { return L"//server/share"; }
  EDriveType driveType(const std::wstring&) const override { return m_type; }
  std::vector<std::wstring> roots() const override { return {L"//server/share"}; }

 private:
  EDriveType m_type;
};

}  // namespace

// --- mount table parsing ---------------------------------------------------------------

TEST(PlatformMountInfo, ParsesFieldsEscapesAndOptionalTags) {
  const std::string text =
      "22 27 0:21 / /proc rw,relatime - proc proc rw\n"
      "27 1 254:3 / / rw,relatime shared:1 master:2 - ext4 /dev/vda3 rw\n"
      "40 27 0:50 /export /mnt/my\\040share rw - nfs4 server:/export rw,vers=4.2\n"
      "41 27 0:51 / /media/back\\134slash rw - fuse.sshfs user@host:/ rw\n"
      "garbage line\n"
      "42 27 x:y / /bad rw - ext4 /dev/x rw\n"
      "43 27 0:52 / relative rw - ext4 /dev/y rw\n"
      "44 27 0:53 / /no-separator rw ext4 /dev/z rw\n"
      "\n"
      "45 27 8:17 / /media/usb rw - vfat /dev/sdb1 rw";  // no final line end
  std::vector<std::string> parsed;
  for (const MountEntry& e : up::parseMountInfo(text)) {
    parsed.push_back(e.mountPoint + "|" + e.fsType + "|" + e.source + "|" + std::to_string(e.major) + ":" +
                     std::to_string(e.minor));
  }
  EXPECT_EQ(parsed, (std::vector<std::string>{
                        "/proc|proc|proc|0:21", "/|ext4|/dev/vda3|254:3", "/mnt/my share|nfs4|server:/export|0:50",
                        "/media/back\\slash|fuse.sshfs|user@host:/|0:51", "/media/usb|vfat|/dev/sdb1|8:17"}));
  EXPECT_TRUE(up::parseMountInfo("").empty());
}

TEST(PlatformMountInfo, NetworkTypes) {
  for (const char* type : {"nfs4", "cifs", "smb3", "9p", "ceph", "fuse.sshfs"}) {
    EXPECT_TRUE(up::isNetworkFileSystemType(type)) << type;
  }
  for (const char* type : {"ext4", "tmpfs", "fuse", "overlay", "", "nfsd"}) {
    EXPECT_FALSE(up::isNetworkFileSystemType(type)) << type;
  }
}

TEST(PlatformMountOfPath, LongestMountFollowingLinksAndStoppingAtNetwork) {
  ut::test::TempDir dir;
  const auto base = std::filesystem::canonical(dir.path());
  std::filesystem::create_directories(base / "net" / "sub");
  std::filesystem::create_directories(base / "local" / "deep");
  // Inside the pretend network mount a link leads to "/": a walk that looked
  // inside the network mount would end on "/" instead.
  std::filesystem::create_directory_symlink("/", base / "net" / "escape");
  std::filesystem::create_directory_symlink(base / "net", base / "link-to-net");
  std::filesystem::create_directory_symlink("../net", base / "local" / "relative-link");
  std::filesystem::create_directory_symlink("loop-b", base / "loop-a");
  std::filesystem::create_directory_symlink("loop-a", base / "loop-b");
  const std::vector<MountEntry> mounts = {mount("/", "ext4"), mount((base / "net").string(), "nfs"),
                                          mount((base / "local").string(), "tmpfs"),
                                          mount((base / "local").string(), "ext4")};  // mounted over the tmpfs
  const auto mountOf = [&](const std::filesystem::path& p) {
    const auto found = up::mountOfPath(mounts, p.string());
    return found ? found->mountPoint + "|" + found->fsType : std::string("none");
  };
  const std::string net = (base / "net").string() + "|nfs";
  EXPECT_EQ(mountOf(base / "net"), net);
  EXPECT_EQ(mountOf(base / "net" / "sub" / "file"), net);
  EXPECT_EQ(mountOf(base / "net" / "escape" / "etc"), net);
  EXPECT_EQ(mountOf(base / "link-to-net" / "sub"), net);
  EXPECT_EQ(mountOf(base / "local" / "relative-link" / "x"), net);
  EXPECT_EQ(mountOf(base / "local" / ".." / "net"), net);
  EXPECT_EQ(mountOf(base / "local" / "deep" / "missing" / "file"), (base / "local").string() + "|ext4");
  // A name that merely starts like a mount point is not inside it.
  EXPECT_EQ(mountOf(base.string() + "/network-like"), "/|ext4");
  EXPECT_EQ(mountOf(base / "missing" / ".." / "local"), "/|ext4");  // ".." of a missing folder is not resolved
  EXPECT_EQ(mountOf(base / "loop-a" / "x"), "/|ext4");              // loops end without hanging
  EXPECT_FALSE(up::mountOfPath(mounts, "relative/path").has_value());
  EXPECT_FALSE(up::mountOfPath({}, "/anything").has_value());
  EXPECT_EQ(up::mountOfPath({mount("/", "nfs")}, "/a/b")->fsType, "nfs");
}

// --- the real implementation ----------------------------------------------------------------

TEST(PlatformFileSystemInfo, ReplaceableAndRestorable) {
  const auto real = up::fileSystemInfo();
  ASSERT_NE(dynamic_cast<up::SystemFileSystemInfo*>(real.get()), nullptr);
  auto fake = std::make_shared<FakeFileSystemInfo>(EDriveType::eRemote);
  up::setFileSystemInfo(fake);
  EXPECT_EQ(up::fileSystemInfo(), fake);
  // Reachable means a drive type that is neither unknown nor "no root".
  EXPECT_TRUE(up::fileSystemInfo()->isRootReachable(L"//server/share"));
  EXPECT_FALSE(FakeFileSystemInfo(EDriveType::eUnknown).isRootReachable(L"//server/share"));
  EXPECT_FALSE(FakeFileSystemInfo(EDriveType::eNoRootDir).isRootReachable(L"//server/share"));
  up::setFileSystemInfo(nullptr);
  EXPECT_EQ(up::fileSystemInfo(), real);
}
