// Reading a segment file: load and check the image, read the class and root
// tables, read every object from the flat object table with its references
// unlinked, verify types and ownership, link, hand out roots.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <unordered_set>

#include "pdb_internal.h"

namespace {

std::uint32_t load_u32(const unsigned char* p) {
  std::uint32_t value;
  std::memcpy(&value, p, 4);
  return pdb_little_endian(value);
}

std::uint64_t load_u64(const unsigned char* p) {
  std::uint64_t value;
  std::memcpy(&value, p, 8);
  return pdb_little_endian(value);
}

std::string hex(std::uint32_t value) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) {
    text += digits[(value >> shift) & 0xFU];
  }
  return text;
}

void free_image(PDB_SEGMENT_STATE& s) noexcept {
  if (s.m_image != nullptr) {
    MEM_MANAGER::deallocate(s.m_image, s.m_size > 0 ? s.m_size : 1);
    s.m_image = nullptr;
  }
}

template <class T>
void release_vector(MEM_VECTOR<T>& vector) noexcept {
  MEM_VECTOR<T>().swap(vector);
}

// The caller frees the roots it was handed in the order it got them (a
// clone, then its master). A tree whose destructor looks at a non-owned
// object of a tree handed out before it would then meet freed memory: such
// a root is refused (and freed with what is not handed out). Links between
// trees in both directions leave no safe order; a file may hold them, but
// their roots cannot both be taken.
void check_claim_order(const PDB_SEGMENT& segment, const PDB_SEGMENT_STATE& s, std::uint32_t root,
                       std::string_view name) {
  bool earlier = false;
  for (const PDB_ROOT_ENTRY& other : s.m_roots) {
    earlier = earlier || (other.m_claimed && other.m_object != PDB_NO_OWNER);
  }
  if (!earlier || s.m_inspected.empty()) {
    return;
  }
  // The root of every object's tree, each owner chain followed once.
  const std::uint32_t count = static_cast<std::uint32_t>(s.m_owner.size());
  MEM_VECTOR<std::uint32_t> tree(count, PDB_NO_OWNER);
  MEM_VECTOR<std::uint32_t> chain;
  for (std::uint32_t start = 0; start < count; ++start) {
    std::uint32_t object = start;
    while (tree[object] == PDB_NO_OWNER && s.m_owner[object] < count) {
      chain.push_back(object);
      object = s.m_owner[object];
    }
    const std::uint32_t top = tree[object] != PDB_NO_OWNER ? tree[object] : object;
    tree[object] = top;
    for (const std::uint32_t below : chain) {
      tree[below] = top;
    }
    chain.clear();
  }
  for (const PDB_SEGMENT_STATE::INSPECTED& link : s.m_inspected) {
    if (tree[link.m_source] != root || tree[link.m_target] == root) {
      continue;
    }
    for (const PDB_ROOT_ENTRY& other : s.m_roots) {
      if (other.m_claimed && other.m_object == tree[link.m_target]) {
        segment.fail("root " + std::string(name) + " links to the tree of root " +
                     std::string(other.m_name.data(), other.m_name.size()) +
                     ", handed out before it: freeing the roots in the order they were handed out "
                     "would free the target first");
      }
    }
  }
}

// The class record of a class number, remembering the last one asked for:
// the references of a file mostly declare a handful of classes in runs.
class DECLARED_CLASS {
 public:
  const PDB_CLASS_INFO* operator()(std::uint32_t index) noexcept {
    if (index != m_index) {
      m_index = index;
      m_info = PDB_CLASS_INFO::find_index(index);
    }
    return m_info;
  }

 private:
  std::uint32_t m_index = 0xFFFFFFFFU;
  const PDB_CLASS_INFO* m_info = nullptr;
};

}  // namespace

PDB_SEGMENT_READER::PDB_SEGMENT_READER(const PDB_ARCHIVE_BASE& archive, PDB_SEGMENT_INFO& info,
                                       const char* name, const char* extension)
    : PDB_SEGMENT_TEMPLATE<PDB_DDB_SEG_BASE>(true) {
  m_state = MEM_MANAGER::new_wrapper<PDB_SEGMENT_STATE>(*this, archive, info, name, extension);
}

PDB_SEGMENT_READER::~PDB_SEGMENT_READER() {
  finish_reading_all();
  MEM_MANAGER::delete_wrapper(m_state);
}

bool PDB_SEGMENT_READER::is_open() const noexcept {
  const PDB_SEGMENT_STATE::PHASE phase = m_state->m_phase;
  return phase == PDB_SEGMENT_STATE::OPEN || phase == PDB_SEGMENT_STATE::TABLES ||
         phase == PDB_SEGMENT_STATE::OBJECTS;
}

std::size_t PDB_SEGMENT_READER::get_object_count() const noexcept {
  return m_state->m_object_count;
}

std::uint64_t PDB_SEGMENT_READER::get_file_size() const noexcept { return m_state->m_size; }

std::vector<std::string> PDB_SEGMENT_READER::get_root_names() const {
  std::vector<std::string> names;
  for (const PDB_ROOT_ENTRY& root : m_state->m_roots) {
    names.emplace_back(root.m_name.c_str(), root.m_name.size());
  }
  return names;
}

bool PDB_SEGMENT_READER::open() {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_phase != PDB_SEGMENT_STATE::CLOSED) {
    return is_open();
  }
  s.m_path = s.m_archive.segment_path(s.m_key.c_str(), s.m_extension.c_str());
  if (s.m_path.empty()) {
    return false;
  }
  const int fd = ::open(s.m_path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    return false;
  }
  struct stat status;
  if (::fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    ::close(fd);
    return false;
  }
  s.m_phase = PDB_SEGMENT_STATE::FAILED;
  s.m_size = static_cast<std::uint64_t>(status.st_size);
  try {
    s.m_image = static_cast<unsigned char*>(MEM_MANAGER::allocate(s.m_size > 0 ? s.m_size : 1));
  } catch (const std::bad_alloc&) {
    ::close(fd);
    fail("the file (" + std::to_string(s.m_size) + " bytes) does not fit in memory");
  }
  std::uint64_t done = 0;
  while (done < s.m_size) {
    const ssize_t got = ::read(fd, s.m_image + done, s.m_size - done);
    if (got < 0 && errno == EINTR) {
      continue;
    }
    if (got <= 0) {
      const int error = errno;
      ::close(fd);
      free_image(s);
      fail(got < 0 ? std::string("cannot read: ") + std::strerror(error)
                   : std::string("the file shrank while it was read"));
    }
    done += static_cast<std::uint64_t>(got);
  }
  ::close(fd);

  // The header: magic, version, its own checksum, the length, the tables.
  const unsigned char* image = s.m_image;
  try {
    if (s.m_size < sizeof(PDB_MAGIC) || std::memcmp(image, PDB_MAGIC, sizeof(PDB_MAGIC)) != 0) {
      fail("not a .ddb database (no .ddb magic number)");
    }
    if (s.m_size < PDB_HEADER_SIZE) {
      fail("truncated: " + std::to_string(s.m_size) + " bytes, the header alone takes " +
           std::to_string(PDB_HEADER_SIZE));
    }
    const std::uint32_t version = load_u32(image + 8);
    if (version != PDB_FORMAT_VERSION) {
      fail(".ddb format version " + std::to_string(version) + ", this program reads version " +
           std::to_string(PDB_FORMAT_VERSION) +
           (version > PDB_FORMAT_VERSION
                ? ": read it with the newer program that wrote it, or rebuild the database "
                  "from its DMF source with this program"
                : ": rebuild the database from its DMF source with this program"));
    }
    if (load_u32(image + 36) != pdb_crc32(image, 36)) {
      fail("the header is damaged (checksum mismatch)");
    }
    const std::uint32_t flags = load_u32(image + 12);
    if (flags != 0) {
      fail("unknown header flags " + hex(flags));
    }
    const std::uint64_t length = load_u64(image + 16);
    if (length != s.m_size) {
      fail("the header gives a length of " + std::to_string(length) + " bytes, the file has " +
           std::to_string(s.m_size) + (length > s.m_size ? " (truncated)" : ""));
    }
    s.m_tables_offset = load_u64(image + 24);
    if (s.m_tables_offset < PDB_HEADER_SIZE || s.m_tables_offset > s.m_size) {
      fail("the tables offset " + std::to_string(s.m_tables_offset) + " lies outside the file");
    }
    if (load_u32(image + 32) != pdb_crc32(image + PDB_HEADER_SIZE, s.m_size - PDB_HEADER_SIZE)) {
      fail("the content is damaged (checksum mismatch)");
    }
  } catch (...) {
    free_image(s);
    throw;
  }
  s.m_phase = PDB_SEGMENT_STATE::OPEN;
  return true;
}

void PDB_SEGMENT_READER::read_public_identifier_lists() {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_phase == PDB_SEGMENT_STATE::TABLES || s.m_phase == PDB_SEGMENT_STATE::OBJECTS) {
    return;
  }
  if (s.m_phase != PDB_SEGMENT_STATE::OPEN) {
    fail("the segment is not open");
  }
  s.m_phase = PDB_SEGMENT_STATE::FAILED;
  try {
    m_get = s.m_image + s.m_tables_offset;
    m_get_end = s.m_image + s.m_size;

    // Classes: name, signature, field layout.
    const std::uint32_t class_count = get_count(12);
    s.m_classes.reserve(class_count);
    for (std::uint32_t i = 0; i < class_count; ++i) {
      const std::uint32_t length = get_count(1);
      const char* name = reinterpret_cast<const char*>(m_get);
      m_get += length;
      const std::string shown(name, length);
      const PDB_CLASS_INFO* info = s.m_info.find_class(name, length);
      if (info == nullptr) {
        fail("class " + shown + " is not known to this program");
      }
      if (s.file_class_of(info) >= 0) {
        fail("class " + shown + " appears twice in the class table");
      }
      const std::uint32_t signature = get_raw<std::uint32_t>();
      if (signature != info->get_signature()) {
        fail("class " + shown + " has the signature " + hex(signature) +
             " in the file, this program's is " + hex(info->get_signature()) +
             ": the database was written by an incompatible program; rebuild it from its DMF "
             "source");
      }
      if (info->get_index() >= s.m_file_class_of.size()) {
        s.m_file_class_of.resize(info->get_index() + 1, -1);
      }
      s.m_file_class_of[info->get_index()] = static_cast<std::int32_t>(s.m_classes.size());
      s.m_classes.emplace_back();
      PDB_FILE_CLASS& c = s.m_classes.back();
      c.m_info = info;
      const std::uint32_t field_count = get_count(5);
      c.m_codes.reserve(field_count);
      c.m_names.reserve(field_count);
      std::uint64_t min_size = 0;
      for (std::uint32_t f = 0; f < field_count; ++f) {
        const std::uint32_t name_length = get_count(1);
        c.m_names.emplace_back(reinterpret_cast<const char*>(m_get), name_length);
        m_get += name_length;
        const std::uint8_t code = get_raw<std::uint8_t>();
        if (!pdb_valid_code(code)) {
          fail("class " + shown + " has a field of unknown type code " + hex(code));
        }
        c.m_codes.push_back(code);
        min_size += pdb_code_min_size(code);
      }
      c.m_min_size = static_cast<std::uint32_t>(min_size);
    }

    // Objects: their count, checked against the bytes of the object table.
    const std::uint32_t object_count = get_raw<std::uint32_t>();
    if (object_count > (s.m_tables_offset - PDB_HEADER_SIZE) / 4 ||
        object_count > PDB_MAX_OBJECTS) {
      fail("an object count of " + std::to_string(object_count) + " does not fit the " +
           std::to_string(s.m_tables_offset - PDB_HEADER_SIZE) + " bytes of the object table");
    }
    s.m_object_count = object_count;
    s.m_owner.assign(object_count, PDB_NO_OWNER);

    // Roots: name and object.
    const std::uint32_t root_count = get_count(8);
    s.m_roots.reserve(root_count);
    std::unordered_set<std::string_view> names;
    names.reserve(root_count);
    for (std::uint32_t i = 0; i < root_count; ++i) {
      const std::uint32_t length = get_count(1);
      const std::string_view name(reinterpret_cast<const char*>(m_get), length);
      m_get += length;
      if (!names.insert(name).second) {
        fail("the root name " + std::string(name) + " appears twice");
      }
      const std::uint32_t value = get_raw<std::uint32_t>();
      s.m_roots.emplace_back();
      PDB_ROOT_ENTRY& root = s.m_roots.back();
      root.m_name.assign(name.data(), name.size());
      if (value != 0) {
        const std::uint32_t object = value - 1;
        if (object >= object_count) {
          fail("root " + std::string(name) + " refers to object " + std::to_string(object) +
               ", the file has " + std::to_string(object_count) + " objects");
        }
        if (s.m_owner[object] == PDB_ROOT_OWNER) {
          fail("object " + std::to_string(object) + " is the root of two names");
        }
        s.m_owner[object] = PDB_ROOT_OWNER;
        root.m_object = object;
      }
    }
    if (m_get != m_get_end) {
      fail(std::to_string(m_get_end - m_get) + " bytes follow the root table");
    }
  } catch (...) {
    free_image(s);
    throw;
  }
  s.m_phase = PDB_SEGMENT_STATE::TABLES;
}

void PDB_SEGMENT_READER::read_objects() {
  PDB_SEGMENT_STATE& s = *m_state;
  s.m_phase = PDB_SEGMENT_STATE::FAILED;
  try {
    s.acquire_identities();
    const std::uint32_t count = s.m_object_count;
    s.m_objects.assign(count, PDB_OBJECT_ENTRY{nullptr, nullptr});
    s.m_refs.reserve(count);
    m_get = s.m_image + PDB_HEADER_SIZE;
    m_get_end = s.m_image + s.m_tables_offset;

    for (std::uint32_t i = 0; i < count; ++i) {
      s.m_current = i;
      s.m_began = false;
      m_field = nullptr;
      m_source = nullptr;
      const std::uint32_t file_class = get_raw<std::uint32_t>();
      if (file_class >= s.m_classes.size()) {
        fail("class index " + std::to_string(file_class) + ", the class table has " +
             std::to_string(s.m_classes.size()) + " classes");
      }
      const PDB_CLASS_INFO* info = s.m_classes[file_class].m_info;
      void* memory = MEM_MANAGER::allocate(info->get_object_size());
      PDB_OBJECT_BASE* object;
      try {
        object = info->get_thunks().m_constructor(*this, memory);
      } catch (...) {
        MEM_MANAGER::deallocate(memory, info->get_object_size());
        throw;
      }
      s.adopt(i, object, info);
      s.m_expected = info;
      dispatch(object, info);
      if (!s.m_began || s.m_depth != 0) {
        fail(
            "the class's serialize does not bracket its fields with serialize_begin and "
            "serialize_end");
      }
    }
    s.m_current = PDB_NO_OWNER;
    m_field = nullptr;
    if (m_get != m_get_end) {
      fail("the object table ends " + std::to_string(m_get_end - m_get) +
           " bytes before the tables");
    }

    // Every reference must point to an object of its field's class; rules
    // decide ownership now that every object holds its values.
    DECLARED_CLASS declared_class;
    for (PDB_REF_RECORD& ref : s.m_refs) {
      const PDB_OBJECT_ENTRY& target = s.m_objects[ref.m_target];
      const PDB_CLASS_INFO* declared = declared_class(ref.m_declared);
      if (!target.m_class->is_a(declared)) {
        fail("object " + s.describe(ref.m_source) + " refers to object " +
             s.describe(ref.m_target) + " where a " + declared->get_name() + " is expected");
      }
      if (ref.m_kind == PDB_OWNERSHIP::BY_RULE) {
        const bool owned = s.m_rules[ref.m_rule](target.m_object);
        ref.m_kind = owned ? PDB_OWNERSHIP::OWNED : PDB_OWNERSHIP::NOT_OWNED;
        if (owned) {
          s.take_ownership(ref.m_target, ref.m_source);
        } else {
          s.m_inspected.push_back(PDB_SEGMENT_STATE::INSPECTED{ref.m_source, ref.m_target});
        }
      }
    }
    s.verify_ownership();
  } catch (...) {
    s.destroy_objects();
    s.release_identities();
    release_vector(s.m_objects);
    release_vector(s.m_refs);
    free_image(s);
    throw;
  }

  // Link. Only the classes' verifiers can refuse the graph from here on; the
  // non-owning references are kept for finish_reading_all.
  std::size_t kept = 0;
  DECLARED_CLASS declared_class;
  for (const PDB_REF_RECORD& ref : s.m_refs) {
    declared_class(ref.m_declared)
        ->get_thunks()
        .m_storer(ref.m_slot, s.m_objects[ref.m_target].m_object);
    if (ref.m_kind == PDB_OWNERSHIP::NOT_OWNED) {
      s.m_refs[kept++] = ref;
    }
  }
  s.m_refs.resize(kept);

  // The classes' own checks of the linked graph.
  try {
    s.verify_objects();
  } catch (...) {
    s.destroy_linked();
    s.release_identities();
    release_vector(s.m_objects);
    release_vector(s.m_refs);
    free_image(s);
    throw;
  }
  free_image(s);
  s.m_phase = PDB_SEGMENT_STATE::OBJECTS;
}

bool PDB_SEGMENT_READER::claim_root(const char* name, const PDB_CLASS_INFO* info, const void* type,
                                    PDB_OBJECT_BASE** object) {
  PDB_SEGMENT_STATE& s = *m_state;
  *object = nullptr;
  if (s.m_phase == PDB_SEGMENT_STATE::OPEN) {
    read_public_identifier_lists();
  }
  if (s.m_phase == PDB_SEGMENT_STATE::TABLES) {
    read_objects();
  }
  if (s.m_phase != PDB_SEGMENT_STATE::OBJECTS) {
    return false;
  }
  const std::string_view wanted(name != nullptr ? name : "");
  for (PDB_ROOT_ENTRY& root : s.m_roots) {
    if (std::string_view(root.m_name.data(), root.m_name.size()) != wanted) {
      continue;
    }
    if (root.m_claimed) {
      fail("root " + std::string(wanted) + " was handed out already");
    }
    if (root.m_object == PDB_NO_OWNER) {
      root.m_claimed = true;
      return true;
    }
    if (info == nullptr || info->get_thunks().m_type != type) {
      fail("no class information for the type root " + std::string(wanted) + " is read as");
    }
    const PDB_OBJECT_ENTRY& entry = s.m_objects[root.m_object];
    if (!entry.m_class->is_a(info)) {
      fail("root " + std::string(wanted) + " is a " + entry.m_class->get_name() + ", not a " +
           info->get_name());
    }
    check_claim_order(*this, s, root.m_object, wanted);
    root.m_claimed = true;
    *object = entry.m_object;
    return true;
  }
  return false;
}

void PDB_SEGMENT_READER::finish_reading_all() noexcept {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_phase == PDB_SEGMENT_STATE::OBJECTS) {
    bool unclaimed = false;
    for (const PDB_ROOT_ENTRY& root : s.m_roots) {
      unclaimed = unclaimed || (!root.m_claimed && root.m_object != PDB_NO_OWNER);
    }
    if (unclaimed) {
      s.drop_unclaimed_roots();
    }
  }
  if (s.m_holds_identities) {
    s.release_identities();
  }
  release_vector(s.m_objects);
  release_vector(s.m_owner);
  release_vector(s.m_flat);
  release_vector(s.m_refs);
  release_vector(s.m_rules);
  release_vector(s.m_inspected);
  release_vector(s.m_classes);
  release_vector(s.m_file_class_of);
  release_vector(s.m_contexts);
  free_image(s);
  if (s.m_phase != PDB_SEGMENT_STATE::CLOSED) {
    s.m_phase = PDB_SEGMENT_STATE::FINISHED;
  }
}
