#pragma once

/// \file
/// A folder opened once, whose entries are then listed, examined, created, renamed and removed
/// by their names alone; and an advisory lock on a file that processes share. What keeping a log
/// bounded needs: no later change of the path above the folder redirects any of it. Each
/// operation reports the system's reason as filesystem.hpp says: a std::error_code holding the
/// errno, empty on success.

#include <sys/types.h>
#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

#include "fl/filesystem.hpp"
#include "fl/path.hpp"
#include "fl/platform_export.hpp"

namespace fl::filesystem {

/// What a name holds, or an open file is, as far as keeping logs bounded asks.
struct entry_details {
  /// Its kind, owner, group, permission bits, device and inode.
  file_entry entry;
  /// How many hard links it has.
  nlink_t links = 0;
  /// Its size in bytes.
  std::uintmax_t size = 0;
  /// When it was last modified, to the second.
  std::chrono::system_clock::time_point modified;
};

/// An open folder. Every operation names an entry of it alone, with no '/': relative to the
/// folder opened once, so a folder renamed or a link planted above it later changes nothing.
class QX_PLATFORM_API folder {
 public:
  /// Opens `path` for reading (close-on-exec); with `without_links`, through no symbolic link
  /// anywhere in it, its last component included (as open_options::private_file opens a file:
  /// ELOOP for a link, ENOSYS where the system cannot). Check is_open() and error().
  folder(basic_path const& path, bool without_links);
  /// Closes the folder.
  ~folder();
  folder(folder const&) = delete;
  folder& operator=(folder const&) = delete;

  /// True when the folder opened.
  [[nodiscard]] bool is_open() const noexcept { return fd_ >= 0; }
  /// Why it did not open: its errno; empty when it did.
  [[nodiscard]] std::error_code error() const noexcept { return error_; }
  /// The names it holds, "." and ".." left out, in the order the system gives them; empty,
  /// with `error` set, when they cannot be read.
  [[nodiscard]] std::vector<std::string> names(std::error_code& error) const;
  /// Fills `details` with what `name` holds, a symbolic link itself rather than its target:
  /// empty, or the errno (ENOENT when nothing is there).
  [[nodiscard]] std::error_code details(std::string const& name,
                                        entry_details& details) const noexcept;
  /// Creates `name` as a new, empty regular file with exactly the permission bits `mode` (the
  /// umask does not reduce them), or fails with EEXIST when anything is there, a symbolic link
  /// included, which is never followed: empty or the errno.
  [[nodiscard]] std::error_code create_empty(std::string const& name, mode_t mode) const noexcept;
  /// Renames `from` to `to` only while nothing is at `to` (EEXIST otherwise, and nothing
  /// changes; Linux's renameat2 with RENAME_NOREPLACE, macOS's renameatx_np with RENAME_EXCL;
  /// EINVAL or ENOTSUP on a file system without such a rename): empty or the errno.
  [[nodiscard]] std::error_code rename_to_free_name(std::string const& from,
                                                    std::string const& to) const noexcept;
  /// Removes the name `name` (unlinkat): a symbolic link itself, never its target; a folder is
  /// refused. Empty or the errno (ENOENT when nothing is there).
  [[nodiscard]] std::error_code remove(std::string const& name) const noexcept;

 private:
  int fd_ = -1;
  std::error_code error_;
};

/// A file opened as the installation log opens it, holding an advisory lock (flock(2)) that
/// every process which locks the same file sees, whatever name it opened it by. The lock goes
/// with the descriptor: it ends when this object ends, or when the last process that shares
/// the descriptor (a forked child) closes it; a program it execs does not inherit it.
class QX_PLATFORM_API file_lock {
 public:
  /// Holds nothing.
  file_lock() = default;
  /// With `create`, opens `path` for appending as basic_ofstream(path, out | app, options)
  /// does: a missing file is created, and only the kinds and owners that open accepts open;
  /// without, opens an existing regular file for reading (with options.private_file, only the
  /// caller's own with one link, through no link). Takes no lock yet.
  file_lock(basic_path const& path, open_options options, bool create);
  /// Closes the file, which lets its lock go (unless a forked child shares the descriptor).
  ~file_lock();
  /// Takes over `other`'s file and lock; `other` then holds nothing.
  file_lock(file_lock&& other) noexcept;
  /// Lets this lock's file go, then takes over `other`'s; `other` then holds nothing.
  file_lock& operator=(file_lock&& other) noexcept;
  file_lock(file_lock const&) = delete;
  file_lock& operator=(file_lock const&) = delete;

  /// True when the file is open.
  [[nodiscard]] bool is_open() const noexcept { return fd_ >= 0; }
  /// Why it did not open: its errno, as basic_ofstream::error gives it; empty when it did.
  [[nodiscard]] std::error_code error() const noexcept { return error_; }
  /// Takes the lock, exclusive or shared, without waiting; a lock already held here is
  /// converted, which the system may do by letting it go first. Empty, or the errno: EWOULDBLOCK
  /// while another open file holds a lock that conflicts, EBADF when nothing is open,
  /// ENOLCK or EOPNOTSUPP where the file system keeps no such locks.
  [[nodiscard]] std::error_code try_lock(bool exclusive) noexcept;
  /// What the file was when it opened, from the open's own status call: its kind (a regular
  /// file or a character device), device, inode and size; nothing else is filled.
  [[nodiscard]] entry_details const& at_open() const noexcept { return at_open_; }
  /// Fills `details` with what the open file is now (fstat(2)): empty or the errno.
  [[nodiscard]] std::error_code details(entry_details& details) const noexcept;

 private:
  int fd_ = -1;
  std::error_code error_;
  entry_details at_open_;
};

}  // namespace fl::filesystem
