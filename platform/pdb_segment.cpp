// The transfer shared by the segment reader and writer: class brackets and
// field layouts, references, arrays, identities, ownership and messages.
#include <algorithm>
#include <string>

#include "pdb_internal.h"

namespace {

// The one transfer that numbers objects through their identity words.
PDB_SEGMENT_STATE* g_identity_holder = nullptr;

constexpr std::uint32_t k_depth_unknown = 0xFFFFFFFFU;
constexpr std::uint32_t k_depth_visiting = 0xFFFFFFFEU;

std::string hex(std::uint32_t value) {
  static const char digits[] = "0123456789ABCDEF";
  std::string text = "0x";
  for (int shift = 28; shift >= 0; shift -= 4) {
    text += digits[(value >> shift) & 0xFU];
  }
  return text;
}

}  // namespace

// --- Field codes -------------------------------------------------------------

bool pdb_valid_code(std::uint8_t code) noexcept {
  const unsigned base = code & 0x0FU;
  const unsigned levels = code >> 4;
  if (base >= PDB_CODE_INT32 && base <= PDB_CODE_STRING) {
    return levels <= 3;
  }
  if (base == PDB_CODE_REF) {
    return levels <= 1;
  }
  return code == PDB_CODE_ARRAY;
}

std::uint32_t pdb_code_min_size(std::uint8_t code) noexcept {
  if ((code >> 4) != 0) {
    return 4;  // a vector: its count
  }
  switch (code) {
    case PDB_CODE_INT16:
      return 2;
    case PDB_CODE_BOOL:
      return 1;
    case PDB_CODE_DOUBLE:
      return 8;
    default:
      return 4;
  }
}

std::string pdb_code_name(std::uint8_t code) {
  static const char* const names[] = {"?",      "int32",  "int16",     "bool",
                                      "double", "string", "reference", "array"};
  const unsigned base = code & 0x0FU;
  std::string name = base < 8 ? names[base] : "?";
  for (unsigned level = code >> 4; level > 0; --level) {
    name = "vector of " + name;
  }
  return name;
}

// --- Identities ----------------------------------------------------------------

void PDB_OBJECT_BASE::release_identity() noexcept {
  if (g_identity_holder != nullptr) {
    g_identity_holder->forget(this);
  }
  m_pdb_identity = PDB_UNREGISTERED;
}

PDB_SEGMENT_STATE::PDB_SEGMENT_STATE(PDB_SEGMENT& segment, const PDB_ARCHIVE_BASE& archive,
                                     PDB_SEGMENT_INFO& info, const char* name,
                                     const char* extension)
    : m_segment(segment),
      m_archive(archive),
      m_info(info),
      m_key(name != nullptr ? name : ""),
      m_extension(extension != nullptr ? extension : "") {}

PDB_SEGMENT_STATE::~PDB_SEGMENT_STATE() {
  if (m_holds_identities) {
    release_identities();
  }
  if (m_image != nullptr) {
    MEM_MANAGER::deallocate(m_image, m_size > 0 ? m_size : 1);
  }
}

void PDB_SEGMENT_STATE::acquire_identities() {
  if (g_identity_holder != nullptr) {
    m_segment.fail("another segment transfer is in progress; finish reading or writing it first");
  }
  g_identity_holder = this;
  m_holds_identities = true;
}

void PDB_SEGMENT_STATE::release_identities() noexcept {
  // The objects lie anywhere on the heap: ask for them a few entries ahead.
  constexpr std::size_t k_ahead = 16;
  const std::size_t count = m_objects.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (i + k_ahead < count) {
      __builtin_prefetch(m_objects[i + k_ahead].m_object, 1);
    }
    if (m_objects[i].m_object != nullptr) {
      m_objects[i].m_object->m_pdb_identity = PDB_UNREGISTERED;
    }
  }
  if (g_identity_holder == this) {
    g_identity_holder = nullptr;
  }
  m_holds_identities = false;
}

void PDB_SEGMENT_STATE::forget(PDB_OBJECT_BASE* object) noexcept {
  const std::uint32_t index = object->m_pdb_identity;
  if (index < m_objects.size() && m_objects[index].m_object == object) {
    m_objects[index].m_object = nullptr;
  }
}

void PDB_SEGMENT_STATE::destroy_objects() noexcept {
  for (PDB_OBJECT_ENTRY& entry : m_objects) {
    PDB_OBJECT_BASE* object = entry.m_object;
    if (object != nullptr) {
      entry.m_object = nullptr;
      entry.m_class->get_thunks().m_destroyer(object);
    }
  }
}

// --- Ownership -----------------------------------------------------------------

void PDB_SEGMENT_STATE::take_ownership(std::uint32_t target, std::uint32_t owner, bool flat) {
  std::uint32_t& current = m_owner[target];
  if (current == PDB_NO_OWNER) {
    current = owner;
    if (flat) {
      if (m_flat.size() <= target) {
        m_flat.resize(std::max<std::size_t>(target + 1, m_owner.size()), 0);
      }
      m_flat[target] = 1;
    }
    return;
  }
  if (current == PDB_ROOT_OWNER) {
    m_segment.fail("object " + describe(target) + " is a root and is also owned by object " +
                   describe(owner));
  }
  m_segment.fail("object " + describe(target) + " is owned twice, by object " + describe(current) +
                 " and by object " + describe(owner));
}

// Every object must hang below a root through a chain of owners, without a
// cycle. The owners are followed iteratively; each object is visited once.
void PDB_SEGMENT_STATE::verify_ownership() {
  const std::size_t count = m_objects.size();
  const std::uint32_t max_depth = m_info.get_max_ownership_depth();
  MEM_VECTOR<std::uint32_t> depth(count, k_depth_unknown);
  MEM_VECTOR<std::uint32_t> chain;
  for (std::size_t start = 0; start < count; ++start) {
    std::uint32_t object = static_cast<std::uint32_t>(start);
    std::uint32_t level = 0;
    for (;;) {
      const std::uint32_t known = depth[object];
      if (known == k_depth_visiting) {
        m_segment.fail("object " + describe(object) +
                       " owns itself through the objects it owns (an ownership cycle)");
      }
      if (known != k_depth_unknown) {
        level = known;
        break;
      }
      const std::uint32_t owner = m_owner[object];
      if (owner == PDB_ROOT_OWNER) {
        depth[object] = 0;
        level = 0;
        break;
      }
      if (owner == PDB_NO_OWNER) {
        m_segment.fail("object " + describe(object) +
                       " is neither a root nor owned by another object (save the tree it "
                       "belongs to with it)");
      }
      depth[object] = k_depth_visiting;
      chain.push_back(object);
      object = owner;
    }
    while (!chain.empty()) {
      const std::uint32_t below = chain.back();
      chain.pop_back();
      if (below >= m_flat.size() || m_flat[below] == 0) {
        ++level;
      }
      if (max_depth != 0 && level > max_depth) {
        m_segment.fail("object " + describe(below) + " lies deeper than " +
                       std::to_string(max_depth) + " levels of ownership");
      }
      depth[below] = level;
    }
  }
  verify_inspected();
}

// A target that a rule says is not owned must outlive the source whose
// destructor looks at it: the source itself, one of its owners (alive while
// the source is destroyed within them), or an object of another root's tree
// (whose order of destruction is the caller's). Ancestry is tested with the
// entry and exit numbers of an iterative walk of the ownership forest.
void PDB_SEGMENT_STATE::verify_inspected() {
  if (m_inspected.empty()) {
    return;
  }
  const std::uint32_t count = static_cast<std::uint32_t>(m_objects.size());
  MEM_VECTOR<std::uint32_t> first(count + 1, 0);
  for (std::uint32_t i = 0; i < count; ++i) {
    if (m_owner[i] < count) {
      ++first[m_owner[i] + 1];
    }
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    first[i + 1] += first[i];
  }
  MEM_VECTOR<std::uint32_t> children(first[count]);
  {
    MEM_VECTOR<std::uint32_t> next(first.begin(), first.end() - 1);
    for (std::uint32_t i = 0; i < count; ++i) {
      if (m_owner[i] < count) {
        children[next[m_owner[i]]++] = i;
      }
    }
  }
  MEM_VECTOR<std::uint32_t> enter(count);
  MEM_VECTOR<std::uint32_t> leave(count);
  MEM_VECTOR<std::uint32_t> tree(count);
  MEM_VECTOR<std::uint32_t> stack;  // objects whose children are being numbered
  MEM_VECTOR<std::uint32_t> position(count);
  std::uint32_t clock = 0;
  for (std::uint32_t root = 0; root < count; ++root) {
    if (m_owner[root] != PDB_ROOT_OWNER) {
      continue;
    }
    enter[root] = clock++;
    tree[root] = root;
    position[root] = first[root];
    stack.push_back(root);
    while (!stack.empty()) {
      const std::uint32_t object = stack.back();
      if (position[object] < first[object + 1]) {
        const std::uint32_t child = children[position[object]++];
        enter[child] = clock++;
        tree[child] = root;
        position[child] = first[child];
        stack.push_back(child);
      } else {
        leave[object] = clock++;
        stack.pop_back();
      }
    }
  }
  for (const INSPECTED& link : m_inspected) {
    const std::uint32_t s = link.m_source;
    const std::uint32_t t = link.m_target;
    if (s == t || tree[s] != tree[t] || (enter[t] < enter[s] && leave[s] < leave[t])) {
      continue;
    }
    m_segment.fail("object " + describe(s) + " links to object " + describe(t) +
                   " of its own tree without owning it, and that object is not one of its "
                   "owners: destroying the tree could free it first");
  }
}

// The owner table becomes a root table in place: each entry of an owned
// object is set to (k_compressed | its tree's root), following each chain
// once; the entry of a root not handed out is set to PDB_NO_OWNER.
void PDB_SEGMENT_STATE::drop_unclaimed_roots() noexcept {
  constexpr std::uint32_t k_compressed = 0x80000000U;
  const auto is_final = [](std::uint32_t owner) {
    return owner == PDB_ROOT_OWNER || (owner & k_compressed) != 0;
  };
  const std::uint32_t count = static_cast<std::uint32_t>(m_owner.size());
  for (std::uint32_t start = 0; start < count; ++start) {
    std::uint32_t object = start;
    while (!is_final(m_owner[object])) {
      object = m_owner[object];
    }
    const std::uint32_t root =
        m_owner[object] == PDB_ROOT_OWNER ? object : m_owner[object] & ~k_compressed;
    for (object = start; !is_final(m_owner[object]);) {
      const std::uint32_t next = m_owner[object];
      m_owner[object] = k_compressed | root;
      object = next;
    }
  }
  for (const PDB_ROOT_ENTRY& root : m_roots) {
    if (!root.m_claimed && root.m_object != PDB_NO_OWNER) {
      m_owner[root.m_object] = PDB_NO_OWNER;
    }
  }
  const auto root_of = [this](std::uint32_t object) {
    const std::uint32_t owner = m_owner[object];
    return owner == PDB_ROOT_OWNER || owner == PDB_NO_OWNER ? object : owner & ~k_compressed;
  };
  // Cut the links into the dropped trees from the trees handed out, and every
  // link out of the dropped trees, so that no destructor looks at an object
  // freed before it.
  for (const PDB_REF_RECORD& ref : m_refs) {
    if (m_objects[ref.m_source].m_object != nullptr &&
        (m_owner[root_of(ref.m_source)] == PDB_NO_OWNER ||
         m_owner[root_of(ref.m_target)] == PDB_NO_OWNER)) {
      PDB_CLASS_INFO::find_index(ref.m_declared)->get_thunks().m_storer(ref.m_slot, nullptr);
    }
  }
  for (const PDB_ROOT_ENTRY& root : m_roots) {
    if (root.m_claimed || root.m_object == PDB_NO_OWNER) {
      continue;
    }
    PDB_OBJECT_ENTRY& entry = m_objects[root.m_object];
    PDB_OBJECT_BASE* object = entry.m_object;
    if (object != nullptr) {
      entry.m_object = nullptr;
      entry.m_class->get_thunks().m_destroyer(object);
    }
  }
}

void PDB_SEGMENT_STATE::verify_objects() {
  const std::uint32_t count = static_cast<std::uint32_t>(m_objects.size());
  for (std::uint32_t i = 0; i < count; ++i) {
    const PDB_OBJECT_ENTRY& entry = m_objects[i];
    if (entry.m_object == nullptr) {
      continue;
    }
    const PDB_CLASS_THUNKS::VERIFIER verifier = entry.m_class->get_thunks().m_verifier;
    if (verifier == nullptr) {
      continue;
    }
    if (const char* problem = verifier(entry.m_object)) {
      m_current = i;
      m_segment.m_field = nullptr;
      m_segment.m_source = nullptr;
      m_segment.fail(problem);
    }
  }
  m_current = PDB_NO_OWNER;
}

void PDB_SEGMENT_STATE::destroy_linked() noexcept {
  for (const PDB_REF_RECORD& ref : m_refs) {
    if (ref.m_kind == PDB_OWNERSHIP::NOT_OWNED && m_objects[ref.m_source].m_object != nullptr) {
      PDB_CLASS_INFO::find_index(ref.m_declared)->get_thunks().m_storer(ref.m_slot, nullptr);
    }
  }
  for (const PDB_ROOT_ENTRY& root : m_roots) {
    if (root.m_object == PDB_NO_OWNER) {
      continue;
    }
    PDB_OBJECT_ENTRY& entry = m_objects[root.m_object];
    PDB_OBJECT_BASE* object = entry.m_object;
    if (object != nullptr) {
      entry.m_object = nullptr;
      entry.m_class->get_thunks().m_destroyer(object);
    }
  }
}

std::uint32_t PDB_SEGMENT_STATE::writer_file_class(const PDB_CLASS_INFO* info) {
  if (&info->get_segment_info() != &m_info) {
    m_segment.fail(std::string("class ") + info->get_name() + " is not a class of segment kind " +
                   m_info.get_kind());
  }
  const std::uint32_t index = info->get_index();
  if (index >= m_file_class_of.size()) {
    m_file_class_of.resize(index + 1, -1);
  }
  if (m_file_class_of[index] < 0) {
    m_file_class_of[index] = static_cast<std::int32_t>(m_classes.size());
    m_classes.emplace_back();
    m_classes.back().m_info = info;
  }
  return static_cast<std::uint32_t>(m_file_class_of[index]);
}

std::uint8_t PDB_SEGMENT_STATE::rule_index(PDB_OWNERSHIP_RULE rule) {
  for (std::size_t i = m_rules.size(); i-- > 0;) {
    if (m_rules[i] == rule) {
      return static_cast<std::uint8_t>(i);
    }
  }
  if (m_rules.size() >= 255) {
    m_segment.fail("more than 255 different ownership rules");
  }
  m_rules.push_back(rule);
  return static_cast<std::uint8_t>(m_rules.size() - 1);
}

std::string PDB_SEGMENT_STATE::describe(std::uint32_t object) const {
  std::string text = std::to_string(object);
  if (object < m_objects.size() && m_objects[object].m_class != nullptr) {
    text += std::string(" (") + m_objects[object].m_class->get_name() + ")";
  }
  return text;
}

// --- Class brackets and layouts ------------------------------------------------

namespace {

void push_context(PDB_SEGMENT_STATE& s, PDB_FIELD_CURSOR& cursor, std::uint32_t file_class,
                  bool reading) {
  PDB_FILE_CLASS& c = s.m_classes[file_class];
  if (c.m_open) {
    s.m_segment.fail(std::string("class ") + c.m_info->get_name() +
                     " is transferred inside an instance of itself");
  }
  c.m_open = true;
  s.m_contexts.push_back(PDB_CONTEXT{file_class, s.m_depth, cursor.m_codes, cursor.m_size,
                                     cursor.m_slow, cursor.m_position});
  cursor = PDB_FIELD_CURSOR();
  if (reading || c.m_known) {
    cursor.m_codes = c.m_codes.data();
    cursor.m_size = static_cast<std::uint32_t>(c.m_codes.size());
    cursor.m_slow = !c.m_known;
  }
}

}  // namespace

void PDB_SEGMENT::serialize_begin(const PDB_CLASS_INFO* info, const PDB_OBJECT_BASE* object) {
  PDB_SEGMENT_STATE& s = *m_state;
  if (info == nullptr) {
    fail("serialize_begin without class information");
  }
  if (s.m_depth == 0) {
    if (s.m_began || s.m_current >= s.m_objects.size()) {
      fail("serialize_begin outside the transfer of an object");
    }
    PDB_OBJECT_ENTRY& entry = s.m_objects[s.m_current];
    if (object != entry.m_object) {
      fail(std::string("serialize_begin of class ") + info->get_name() +
           " names another object than the one transferred");
    }
    std::uint32_t file_class;
    if (m_reading) {
      if (info != s.m_expected) {
        fail(std::string("an object of class ") + s.m_expected->get_name() +
             " transfers itself as class " + info->get_name());
      }
      file_class = static_cast<std::uint32_t>(s.file_class_of(info));
    } else {
      if (!info->is_a(entry.m_class)) {
        fail(std::string("an object referenced as a ") + entry.m_class->get_name() +
             " transfers itself as class " + info->get_name());
      }
#ifndef NDEBUG
      if (info->is_virtual() &&
          static_cast<const PDB_VIRTUAL_OBJECT_BASE*>(object)->pdb_class_info() != info) {
        fail(std::string("an object of class ") +
             static_cast<const PDB_VIRTUAL_OBJECT_BASE*>(object)->pdb_class_info()->get_name() +
             " transfers itself as class " + info->get_name() +
             " (its serialize must begin with its own class information)");
      }
#endif
      entry.m_class = info;
      file_class = s.writer_file_class(info);
      put_raw(file_class);
    }
    s.m_began = true;
    push_context(s, m_cursor, file_class, m_reading);
  } else if (s.m_pending_element != nullptr) {
    if (info != s.m_pending_element) {
      fail(std::string("an array element of class ") + s.m_pending_element->get_name() +
           " transfers itself as class " + info->get_name());
    }
    s.m_pending_element = nullptr;
    const std::uint32_t file_class =
        m_reading ? static_cast<std::uint32_t>(s.file_class_of(info)) : s.writer_file_class(info);
    push_context(s, m_cursor, file_class, m_reading);
  } else {
    const PDB_CLASS_INFO* open = s.m_classes[s.m_contexts.back().m_file_class].m_info;
    if (!open->is_a(info)) {
      fail(std::string("class ") + open->get_name() + " transfers the fields of class " +
           info->get_name() + ", which is not one of its bases");
    }
  }
  ++s.m_depth;
}

void PDB_SEGMENT::serialize_end() {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_depth == 0) {
    fail("serialize_end without serialize_begin");
  }
  --s.m_depth;
  if (s.m_contexts.empty() || s.m_contexts.back().m_depth != s.m_depth) {
    return;
  }
  // The context is read in place: a copy of it through the stack costs a
  // stalled load on every object.
  const PDB_CONTEXT& context = s.m_contexts.back();
  PDB_FILE_CLASS& c = s.m_classes[context.m_file_class];
  if (m_cursor.m_position != c.m_codes.size()) [[unlikely]] {
    fail_field_count(c.m_info, c.m_codes.size());
  }
  c.m_known = true;
  c.m_open = false;
  m_cursor.m_codes = context.m_saved_codes;
  m_cursor.m_size = context.m_saved_size;
  m_cursor.m_position = context.m_saved_position;
  m_cursor.m_slow = context.m_saved_slow;
  s.m_contexts.pop_back();
}

void PDB_SEGMENT::fail_field_count(const PDB_CLASS_INFO* info, std::size_t file_fields) const {
  fail(std::string("class ") + info->get_name() + " transfers " +
       std::to_string(m_cursor.m_position) + " fields, the file has " +
       std::to_string(file_fields));
}

void PDB_SEGMENT::begin_field_slow(std::uint8_t code, const char* field) {
  PDB_SEGMENT_STATE& s = *m_state;
  if (s.m_contexts.empty()) {
    fail("a field is transferred outside serialize_begin and serialize_end");
  }
  PDB_FILE_CLASS& c = s.m_classes[s.m_contexts.back().m_file_class];
  if (!m_reading && !c.m_known) {
    c.m_codes.push_back(code);
    c.m_names.emplace_back(field != nullptr ? field : "");
    m_cursor.m_codes = c.m_codes.data();
    m_cursor.m_size = static_cast<std::uint32_t>(c.m_codes.size());
    ++m_cursor.m_position;
    return;
  }
  const std::uint32_t position = m_cursor.m_position;
  if (position >= c.m_codes.size()) {
    fail(std::string("class ") + c.m_info->get_name() + " has " + std::to_string(c.m_codes.size()) +
         " fields in the file, the program transfers more");
  }
  if (c.m_codes[position] != code) {
    fail("the program transfers a " + pdb_code_name(code) + ", the file has a " +
         pdb_code_name(c.m_codes[position]) + " (field " + c.m_names[position].c_str() + ")");
  }
  if (m_reading && !c.m_known && c.m_names[position] != (field != nullptr ? field : "")) {
    fail(std::string("field ") + std::to_string(position) + " of class " + c.m_info->get_name() +
         " is " + c.m_names[position].c_str() + " in the file");
  }
  ++m_cursor.m_position;
}

// --- References and arrays -----------------------------------------------------

void PDB_SEGMENT::read_ref(void* slot, const PDB_CLASS_INFO* info, PDB_OWNERSHIP ownership) {
  PDB_SEGMENT_STATE& s = *m_state;
  const std::uint32_t value = get_raw<std::uint32_t>();
  if (value == 0) {
    return;
  }
  const std::uint32_t target = value - 1;
  if (target >= s.m_object_count) {
    fail("reference to object " + std::to_string(target) + ", the file has " +
         std::to_string(s.m_object_count) + " objects");
  }
  std::uint8_t rule = 0;
  switch (ownership.get_kind()) {
    case PDB_OWNERSHIP::OWNED:
    case PDB_OWNERSHIP::OWNED_FLAT:
      s.take_ownership(target, s.m_current, ownership.get_kind() == PDB_OWNERSHIP::OWNED_FLAT);
      break;
    case PDB_OWNERSHIP::BY_RULE:
      if (ownership.get_rule() == nullptr) {
        fail("an ownership rule is missing");
      }
      rule = s.rule_index(ownership.get_rule());
      break;
    case PDB_OWNERSHIP::NOT_OWNED:
      break;
  }
  s.m_refs.push_back(PDB_REF_RECORD{slot, s.m_current, target, info->get_index(),
                                    static_cast<std::uint8_t>(ownership.get_kind()), rule});
}

void PDB_SEGMENT::write_ref(PDB_OBJECT_BASE* object, const PDB_CLASS_INFO* info,
                            PDB_OWNERSHIP ownership) {
  if (object == nullptr) {
    put_raw(std::uint32_t{0});
    return;
  }
  PDB_SEGMENT_STATE& s = *m_state;
  std::uint32_t target = object->m_pdb_identity;
  if (target == PDB_UNREGISTERED) {
    if (s.m_objects.size() >= PDB_MAX_OBJECTS) {
      fail("more objects than a segment can hold");
    }
    target = s.enter(object, info, PDB_NO_OWNER);
  } else if (target >= s.m_objects.size() || s.m_objects[target].m_object != object) {
    fail("a referenced object carries an identity that is not this transfer's");
  }
  bool owned = false;
  switch (ownership.get_kind()) {
    case PDB_OWNERSHIP::OWNED:
    case PDB_OWNERSHIP::OWNED_FLAT:
      owned = true;
      break;
    case PDB_OWNERSHIP::BY_RULE:
      if (ownership.get_rule() == nullptr) {
        fail("an ownership rule is missing");
      }
      owned = ownership.get_rule()(object);
      break;
    case PDB_OWNERSHIP::NOT_OWNED:
      break;
  }
  if (owned) {
    s.take_ownership(target, s.m_current, ownership.get_kind() == PDB_OWNERSHIP::OWNED_FLAT);
  } else if (ownership.get_kind() == PDB_OWNERSHIP::BY_RULE) {
    s.m_inspected.push_back(PDB_SEGMENT_STATE::INSPECTED{s.m_current, target});
  }
  put_raw(target + 1);
}

std::size_t PDB_SEGMENT::get_array_count(const PDB_CLASS_INFO* info) {
  PDB_SEGMENT_STATE& s = *m_state;
  const std::int32_t file_class = s.file_class_of(info);
  std::size_t min_size = 1;
  if (file_class >= 0 && s.m_classes[file_class].m_min_size > 1) {
    min_size = s.m_classes[file_class].m_min_size;
  }
  // get_count's test without its division (the element size is not a
  // constant here): count > left / size exactly when count * size > left.
  const std::uint32_t count = get_raw<std::uint32_t>();
  if (static_cast<std::uint64_t>(count) * min_size > static_cast<std::uint64_t>(m_get_end - m_get))
      [[unlikely]] {
    fail_count(count, min_size);
  }
  if (count > 0 && file_class < 0) {
    fail(std::string("an array of class ") + info->get_name() +
         ", which the file's class table does not have");
  }
  return count;
}

std::uint32_t PDB_SEGMENT::begin_element(const PDB_CLASS_INFO* info) {
  const std::uint32_t outer = m_state->m_element_depth;
  m_state->m_pending_element = info;
  m_state->m_element_depth = m_state->m_depth;
  return outer;
}

void PDB_SEGMENT::end_element(std::uint32_t outer) {
  if (m_state->m_pending_element != nullptr || m_state->m_depth != m_state->m_element_depth) {
    fail(
        "an array element's serialize does not bracket its fields with serialize_begin and "
        "serialize_end");
  }
  m_state->m_element_depth = outer;
}

// --- Messages --------------------------------------------------------------------

void PDB_SEGMENT::fail(const std::string& problem) const {
  const PDB_SEGMENT_STATE& s = *m_state;
  std::string message = s.m_path.empty() ? std::string("(no file)") : s.m_path;
  message += ": ";
  if (s.m_current < s.m_objects.size()) {
    message += "object " + s.describe(s.m_current);
    if (m_field != nullptr) {
      message += std::string(", field ") + m_field;
    }
    if (m_source != nullptr) {
      message += std::string(" [") + m_source + "]";
    }
    message += ": ";
  }
  throw PDB_DATABASE_EXCEPTION(message + problem);
}

void PDB_SEGMENT::fail_truncated(std::size_t bytes) const {
  fail("needs " + std::to_string(bytes) + " bytes, " + std::to_string(m_get_end - m_get) +
       " are left");
}

void PDB_SEGMENT::fail_count(std::uint32_t count, std::size_t min_size) const {
  fail("a count of " + std::to_string(count) + " needs at least " +
       std::to_string(static_cast<std::uint64_t>(count) * min_size) + " bytes, " +
       std::to_string(m_get_end - m_get) + " are left");
}

void PDB_SEGMENT::fail_not_empty() const {
  fail("the object made by the constructor thunk is not empty: the field holds data already");
}

void PDB_SEGMENT::fail_null_array() const { fail("a null array with a count above 0"); }

void PDB_SEGMENT::fail_declared(const PDB_CLASS_INFO* info) const {
  fail(info == nullptr ? std::string("no class information for the field's type")
                       : std::string("class information ") + info->get_name() +
                             " was not registered for the field's type");
}

void PDB_SEGMENT::fail_bool(unsigned value) const {
  fail("a boolean byte of " + hex(value) + ", neither 0 nor 1");
}

// --- Archives ----------------------------------------------------------------------

bool PDB_ARCHIVE_BASE::open(const std::string& name) {
  if (name.empty()) {
    return false;
  }
  m_name = name;
  m_open = true;
  return true;
}

void PDB_ARCHIVE_BASE::close() noexcept { m_open = false; }

std::string PDB_ARCHIVE_BASE::segment_path(const char* key, const char* extension) const {
  if (!m_open) {
    return std::string();
  }
  std::string path = m_name;
  if (key != nullptr && key[0] != '\0') {
    path += '.';
    path += key;
  }
  if (extension != nullptr) {
    path += extension;
  }
  return path;
}
