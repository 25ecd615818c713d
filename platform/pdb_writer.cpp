// Writing a segment file: every object reachable from the roots is numbered
// through its identity word and written once, in the order it is reached
// (no recursion); the bytes stream into a temporary file beside the target,
// which replaces the target only when complete, verified and on disk. The
// system calls that write go through FIO_FILE_SYSTEM's table, where tests
// make them fail.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "fio_sys.h"
#include "pdb_internal.h"

namespace {

constexpr std::size_t k_buffer_size = std::size_t{1} << 18;

void store_u32(unsigned char* p, std::uint32_t value) {
  value = pdb_little_endian(value);
  std::memcpy(p, &value, 4);
}

void store_u64(unsigned char* p, std::uint64_t value) {
  value = pdb_little_endian(value);
  std::memcpy(p, &value, 8);
}

// Writes everything at `offset` (or the current position when negative);
// false with errno set on failure. A write that makes no progress is a
// failure too, so a device that accepts nothing cannot stall the save.
bool write_all(int fd, const unsigned char* data, std::size_t size, off_t offset = -1) {
  const FIO_SYSTEM_CALLS& calls = FIO_FILE_SYSTEM::system_calls();
  while (size > 0) {
    const ssize_t done =
        offset < 0 ? calls.m_write(fd, data, size) : calls.m_pwrite(fd, data, size, offset);
    if (done < 0) {
      if (errno == EINTR) {
        continue;
      }
      return false;
    }
    if (done == 0) {
      errno = EIO;
      return false;
    }
    data += done;
    size -= static_cast<std::size_t>(done);
    if (offset >= 0) {
      offset += done;
    }
  }
  return true;
}

std::string directory_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) {
    return ".";
  }
  return slash == 0 ? std::string("/") : path.substr(0, slash);
}

}  // namespace

PDB_SEGMENT_WRITER::PDB_SEGMENT_WRITER(const PDB_ARCHIVE_BASE& archive, PDB_SEGMENT_INFO& info,
                                       const char* name, const char* extension)
    : PDB_SEGMENT_TEMPLATE<PDB_DDB_SEG_BASE>(false) {
  m_state = MEM_MANAGER::new_wrapper<PDB_SEGMENT_STATE>(*this, archive, info, name, extension);
}

PDB_SEGMENT_WRITER::~PDB_SEGMENT_WRITER() {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_fd >= 0) {
    ::close(s.m_fd);
  }
  if (!s.m_temp_path.empty()) {
    ::unlink(s.m_temp_path.c_str());
  }
  MEM_MANAGER::delete_wrapper(m_state);
}

bool PDB_SEGMENT_WRITER::is_open() const noexcept {
  return m_state->m_phase == PDB_SEGMENT_STATE::OPEN;
}

std::size_t PDB_SEGMENT_WRITER::get_object_count() const noexcept {
  return m_state->m_object_count;
}

std::uint64_t PDB_SEGMENT_WRITER::get_file_size() const noexcept { return m_state->m_size; }

bool PDB_SEGMENT_WRITER::open() {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_phase != PDB_SEGMENT_STATE::CLOSED) {
    return is_open();
  }
  s.m_path = s.m_archive.segment_path(s.m_key.c_str(), s.m_extension.c_str());
  if (s.m_path.empty()) {
    return false;
  }
  std::string temp = s.m_path + ".tmp-XXXXXX";
  const int fd = FIO_FILE_SYSTEM::system_calls().m_mkstemp(temp.data());
  if (fd < 0) {
    return false;
  }
  // mkstemp creates the file for its owner alone; give it the permissions a
  // newly created file would have.
  const mode_t mask = ::umask(0);
  ::umask(mask);
  ::fchmod(fd, 0666 & ~mask);
  s.m_fd = fd;
  s.m_temp_path = temp;
  s.m_phase = PDB_SEGMENT_STATE::OPEN;
  return true;
}

void PDB_SEGMENT_WRITER::add_root(const char* name, PDB_OBJECT_BASE* root,
                                  const PDB_CLASS_INFO* info, const void* type) {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_phase != PDB_SEGMENT_STATE::OPEN) {
    fail("the segment is not open for writing");
  }
  if (name == nullptr) {
    fail("a root without a name");
  }
  for (const PDB_ROOT_ENTRY& other : s.m_roots) {
    if (other.m_name == name) {
      fail(std::string("the root name ") + name + " is given twice");
    }
  }
  if (root != nullptr && (info == nullptr || info->get_thunks().m_type != type)) {
    fail(std::string("no class information for the type of root ") + name);
  }
  s.m_roots.emplace_back();
  s.m_roots.back().m_name = name;
  s.m_roots.back().m_info = info;
  s.m_root_objects.push_back(root);
}

void PDB_SEGMENT_WRITER::finish_writing_all() {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_phase != PDB_SEGMENT_STATE::OPEN) {
    fail("the segment is not open for writing");
  }
  s.m_phase = PDB_SEGMENT_STATE::FAILED;
  try {
    write_objects();
  } catch (...) {
    if (s.m_holds_identities) {
      s.release_identities();
    }
    throw;
  }
  s.release_identities();
  s.m_phase = PDB_SEGMENT_STATE::FINISHED;
}

void PDB_SEGMENT_WRITER::write_objects() {
  PDB_SEGMENT_STATE& s = *m_state;
  s.acquire_identities();
  s.m_classes.reserve(s.m_info.get_class_count());
  s.m_buffer.resize(k_buffer_size);
  m_put = s.m_buffer.data();
  m_put_end = m_put + s.m_buffer.size();
  s.m_crc = 0;
  s.m_size = PDB_HEADER_SIZE;
  if (::lseek(s.m_fd, static_cast<off_t>(PDB_HEADER_SIZE), SEEK_SET) < 0) {
    fail(std::string("cannot write: ") + std::strerror(errno));
  }

  // The roots are the first objects.
  for (std::size_t r = 0; r < s.m_roots.size(); ++r) {
    PDB_OBJECT_BASE* root = s.m_root_objects[r];
    if (root == nullptr) {
      continue;
    }
    if (root->get_pdb_identity() != PDB_UNREGISTERED) {
      fail("root " + std::string(s.m_roots[r].m_name.c_str()) + " is also saved as another root");
    }
    s.m_roots[r].m_object = s.enter(root, s.m_roots[r].m_info, PDB_ROOT_OWNER);
  }

  // Every object in the order it was reached; transferring one appends the
  // objects it reaches first.
  constexpr std::uint32_t k_ahead = 8;
  for (std::uint32_t i = 0; i < s.m_objects.size(); ++i) {
    if (i + k_ahead < s.m_objects.size()) {
      __builtin_prefetch(s.m_objects[i + k_ahead].m_object);
    }
    s.m_current = i;
    s.m_began = false;
    m_field = nullptr;
    m_source = nullptr;
    PDB_OBJECT_BASE* object = s.m_objects[i].m_object;
    if (object == nullptr) {
      fail("the object was destroyed during the transfer");
    }
    dispatch(object, s.m_objects[i].m_class);
    if (!s.m_began || s.m_depth != 0) {
      fail(
          "the class's serialize does not bracket its fields with serialize_begin and "
          "serialize_end");
    }
  }
  s.m_current = PDB_NO_OWNER;
  m_field = nullptr;
  s.verify_ownership();
  s.verify_objects();
  s.m_object_count = static_cast<std::uint32_t>(s.m_objects.size());

  // The tables.
  flush_put();
  const std::uint64_t tables_offset = s.m_size;
  const auto put_string = [this](const char* text, std::size_t length) {
    put_count(length);
    put_bytes(text, length);
  };
  put_count(s.m_classes.size());
  for (const PDB_FILE_CLASS& c : s.m_classes) {
    put_string(c.m_info->get_name(), std::strlen(c.m_info->get_name()));
    put_raw(c.m_info->get_signature());
    put_count(c.m_codes.size());
    for (std::size_t f = 0; f < c.m_codes.size(); ++f) {
      put_string(c.m_names[f].data(), c.m_names[f].size());
      put_raw(c.m_codes[f]);
    }
  }
  put_raw(s.m_object_count);
  put_count(s.m_roots.size());
  for (const PDB_ROOT_ENTRY& root : s.m_roots) {
    put_string(root.m_name.data(), root.m_name.size());
    put_raw(root.m_object == PDB_NO_OWNER ? std::uint32_t{0} : root.m_object + 1);
  }
  flush_put();

  // The header, then the file goes to disk and replaces the target.
  unsigned char header[PDB_HEADER_SIZE] = {};
  std::memcpy(header, PDB_MAGIC, sizeof(PDB_MAGIC));
  store_u32(header + 8, PDB_FORMAT_VERSION);
  store_u32(header + 12, 0);
  store_u64(header + 16, s.m_size);
  store_u64(header + 24, tables_offset);
  store_u32(header + 32, s.m_crc);
  store_u32(header + 36, pdb_crc32(header, 36));
  const FIO_SYSTEM_CALLS& calls = FIO_FILE_SYSTEM::system_calls();
  if (!write_all(s.m_fd, header, sizeof(header), 0)) {
    fail(std::string("cannot write: ") + std::strerror(errno));
  }
  if (calls.m_fsync(s.m_fd) != 0) {
    fail(std::string("cannot flush to disk: ") + std::strerror(errno));
  }
  const int fd = s.m_fd;
  s.m_fd = -1;
  if (calls.m_close(fd) != 0) {
    fail(std::string("cannot write: ") + std::strerror(errno));
  }
  if (calls.m_rename(s.m_temp_path.c_str(), s.m_path.c_str()) != 0) {
    fail(std::string("cannot replace the file: ") + std::strerror(errno));
  }
  s.m_temp_path.clear();
  const int directory = ::open(directory_of(s.m_path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (directory >= 0) {
    ::fsync(directory);
    ::close(directory);
  }
  MEM_VECTOR<unsigned char>().swap(s.m_buffer);
}

void PDB_SEGMENT::flush_put() {
  PDB_SEGMENT_STATE& s = *m_state;
  unsigned char* begin = s.m_buffer.data();
  const std::size_t size = static_cast<std::size_t>(m_put - begin);
  m_put = begin;
  if (size == 0) {
    return;
  }
  s.m_crc = pdb_crc32(begin, size, s.m_crc);
  if (!write_all(s.m_fd, begin, size)) {
    fail(std::string("cannot write: ") + std::strerror(errno));
  }
  s.m_size += size;
}

void PDB_SEGMENT::put_bytes(const void* data, std::size_t size) {
  if (static_cast<std::size_t>(m_put_end - m_put) < size) {
    flush_put();
    if (size > static_cast<std::size_t>(m_put_end - m_put)) {
      PDB_SEGMENT_STATE& s = *m_state;
      s.m_crc = pdb_crc32(data, size, s.m_crc);
      if (!write_all(s.m_fd, static_cast<const unsigned char*>(data), size)) {
        fail(std::string("cannot write: ") + std::strerror(errno));
      }
      s.m_size += size;
      return;
    }
  }
  if (size > 0) {
    std::memcpy(m_put, data, size);
    m_put += size;
  }
}
