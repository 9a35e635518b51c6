#include "lab/host_folder.h"

#include "lab/bad_input.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace vorn::lab {

namespace fs = std::filesystem;
using platform::simulated::Bytes;

namespace {

[[noreturn]] void ThrowErrno(const fs::path& path) {
  throw std::system_error(errno, std::generic_category(), path.string());
}

/// An open file of the host.
class HostFile {
 public:
  HostFile(const fs::path& path, int flags)
      : path_(path), descriptor_(open(path.c_str(), flags | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0) ThrowErrno(path);
  }
  ~HostFile() { close(descriptor_); }
  HostFile(const HostFile&) = delete;
  HostFile& operator=(const HostFile&) = delete;

  off_t Size() const { return Demand(lseek(descriptor_, 0, SEEK_END)); }

  /// Where the data ends and a hole at the end of the file begins.
  off_t EndOfData(off_t size) const {
    off_t end = 0;
    for (off_t data = 0; (data = lseek(descriptor_, end, SEEK_DATA)) >= 0 && data < size;)
      end = Demand(lseek(descriptor_, data, SEEK_HOLE));
    return end;
  }

  void Read(Bytes& bytes) const {
    Demand(lseek(descriptor_, 0, SEEK_SET));
    for (std::size_t done = 0; done < bytes.size();) {
      const auto count = Demand(read(descriptor_, bytes.data() + done, bytes.size() - done));
      if (count == 0) throw std::system_error(EIO, std::generic_category(), path_.string());
      done += static_cast<std::size_t>(count);
    }
  }

  void Write(const Bytes& bytes) const {
    for (std::size_t done = 0; done < bytes.size();)
      done += static_cast<std::size_t>(
          Demand(write(descriptor_, bytes.data() + done, bytes.size() - done)));
  }

  void Resize(std::uint64_t size) const {
    Demand(ftruncate(descriptor_, static_cast<off_t>(size)));
  }

 private:
  template <class T>
  T Demand(T result) const {
    if (result < 0) ThrowErrno(path_);
    return result;
  }

  fs::path path_;
  int descriptor_;
};

void ReadInto(VolumeTree& tree, const fs::path& folder, const std::string& below,
              const std::string& shownAs) {
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    const std::string path = below.empty() ? name : below + "/" + name;
    const fs::file_status status = entry.symlink_status();
    if (fs::is_directory(status)) {
      tree[path].directory = true;
      ReadInto(tree, entry.path(), path, shownAs);
    } else if (fs::is_regular_file(status)) {
      tree[path] = ReadStoredFile(entry.path());
    } else {
      throw BadHostFile(shownAs + "/" + path, "is neither a file nor a folder");
    }
  }
}

}  // namespace

VolumeTree ReadVolumeTree(const fs::path& folder, const std::string& shownAs) {
  VolumeTree tree;
  const fs::file_status status = fs::symlink_status(folder);
  if (!fs::exists(status)) return tree;
  if (!fs::is_directory(status)) throw BadHostFile(shownAs, "is not a folder");
  ReadInto(tree, folder, {}, shownAs);
  return tree;
}

StoredItem ReadStoredFile(const fs::path& path) {
  const HostFile file(path, O_RDONLY | O_NOFOLLOW);
  const off_t size = file.Size();
  auto content = std::make_shared<Bytes>(static_cast<std::size_t>(file.EndOfData(size)));
  file.Read(*content);
  StoredItem item;
  item.zeroTail = static_cast<std::uint64_t>(size) - content->size();
  item.content = std::move(content);
  return item;
}

void WriteStoredFile(const fs::path& path, const StoredItem& item) {
  const HostFile file(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
  file.Write(*item.content);
  file.Resize(item.content->size() + item.zeroTail);
}

}  // namespace vorn::lab
