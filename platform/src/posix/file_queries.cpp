#include "file_queries.hpp"

#include <sys/stat.h>

#ifndef QX_POSIX_CALL
#define QX_POSIX_CALL(call) ::call
#endif

namespace fl::posix {

int status_of(int fd, file_status& status) noexcept {
  struct stat st {};
  if (QX_POSIX_CALL(fstat(fd, &st)) != 0) return -1;
  status = {st.st_mode, st.st_uid, st.st_nlink, st.st_dev, st.st_ino, st.st_size};
  return 0;
}

rlim_t file_size_limit() noexcept {
  struct rlimit limit {};
  return QX_POSIX_CALL(getrlimit(RLIMIT_FSIZE, &limit)) == 0 ? limit.rlim_cur : RLIM_INFINITY;
}

}  // namespace fl::posix
