// Class registration: the records of the persisted classes, by segment kind,
// by name, by C++ type and by number.
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "msg_sys.h"
#include "pdb_sys.h"

namespace {

constexpr const char* k_module = "PDB";
constexpr const char* k_source = "pdb_class_info";

// Every class of every segment kind, by number and by C++ type.
struct REGISTRY {
  std::vector<const PDB_CLASS_INFO*> m_by_index;
  std::unordered_map<const void*, const PDB_CLASS_INFO*> m_by_type;
};

REGISTRY& registry() {
  static REGISTRY instance;
  return instance;
}

}  // namespace

struct PDB_SEGMENT_INFO::TABLE {
  std::vector<std::unique_ptr<PDB_CLASS_INFO>> m_classes;
  std::unordered_map<std::string_view, const PDB_CLASS_INFO*> m_by_name;
};

// The registry is made before any segment information, so that it outlives
// them all (statics are destroyed in the reverse order of their making).
PDB_SEGMENT_INFO::PDB_SEGMENT_INFO(const char* kind)
    : m_kind(kind != nullptr ? kind : ""), m_table(new TABLE) {
  registry();
}

PDB_SEGMENT_INFO::~PDB_SEGMENT_INFO() {
  REGISTRY& all = registry();
  for (const auto& info : m_table->m_classes) {
    all.m_by_index[info->get_index()] = nullptr;
    auto found = all.m_by_type.find(info->get_thunks().m_type);
    if (found != all.m_by_type.end() && found->second == info.get()) {
      all.m_by_type.erase(found);
    }
  }
  delete m_table;
}

const PDB_CLASS_INFO* PDB_SEGMENT_INFO::find_class(const char* name,
                                                   std::size_t length) const noexcept {
  auto found = m_table->m_by_name.find(std::string_view(name, length));
  return found != m_table->m_by_name.end() ? found->second : nullptr;
}

std::size_t PDB_SEGMENT_INFO::get_class_count() const noexcept { return m_table->m_classes.size(); }

PDB_SEGMENT_INFO& pdb_ddb_segment_info() {
  static PDB_SEGMENT_INFO info(".ddb");
  return info;
}

PDB_CLASS_INFO* PDB_CLASS_INFO::refuse(const char* class_name, const char* problem) {
  MSG_INTERNAL_ERROR::report(std::string("Cannot register persistent class ") +
                                 (class_name != nullptr ? class_name : "(null)") + ": " + problem,
                             k_module, k_source, __LINE__);
  return nullptr;
}

PDB_CLASS_INFO* PDB_CLASS_INFO::register_class(const char* class_name, const PDB_CLASS_INFO* base,
                                               std::size_t object_size, std::uint32_t signature,
                                               PDB_SEGMENT_INFO& segment_info,
                                               PDB_CLASS_INFO** slot,
                                               const PDB_CLASS_THUNKS& thunks) {
  if (class_name == nullptr || class_name[0] == '\0') {
    return refuse(class_name, "no name");
  }
  PDB_SEGMENT_INFO::TABLE& table = *segment_info.m_table;
  if (table.m_by_name.count(class_name) != 0) {
    return refuse(class_name, "a class of that name is registered already");
  }
  if (slot == nullptr || *slot != nullptr) {
    return refuse(class_name, "its class-information slot is missing or set already");
  }
  if (object_size == 0 || thunks.m_constructor == nullptr || thunks.m_destroyer == nullptr ||
      thunks.m_storer == nullptr || thunks.m_type == nullptr) {
    return refuse(class_name, "a thunk, its size or its type is missing");
  }
  if (thunks.m_virtual ? thunks.m_serializer != nullptr : thunks.m_serializer == nullptr) {
    return refuse(class_name, "plain classes have a serializer thunk, virtual ones none");
  }
  if (base != nullptr) {
    if (&base->get_segment_info() != &segment_info || !thunks.m_virtual || !base->is_virtual()) {
      return refuse(class_name, "its base is not a virtual class of the same segment kind");
    }
  }

  REGISTRY& all = registry();
  std::unique_ptr<PDB_CLASS_INFO> info(new PDB_CLASS_INFO);
  info->m_name = class_name;
  info->m_base = base;
  info->m_object_size = object_size;
  info->m_signature = signature;
  info->m_index = static_cast<std::uint32_t>(all.m_by_index.size());
  info->m_segment_info = &segment_info;
  info->m_thunks = thunks;

  PDB_CLASS_INFO* result = info.get();
  all.m_by_index.push_back(result);
  all.m_by_type.emplace(thunks.m_type, result);  // the first registration of a type wins
  table.m_by_name.emplace(std::string_view(result->m_name), result);
  table.m_classes.push_back(std::move(info));
  *slot = result;
  return result;
}

const PDB_CLASS_INFO* PDB_CLASS_INFO::find_type(const void* type_tag) noexcept {
  const REGISTRY& all = registry();
  auto found = all.m_by_type.find(type_tag);
  return found != all.m_by_type.end() ? found->second : nullptr;
}

const PDB_CLASS_INFO* PDB_CLASS_INFO::find_index(std::uint32_t index) noexcept {
  const REGISTRY& all = registry();
  return index < all.m_by_index.size() ? all.m_by_index[index] : nullptr;
}

bool PDB_VIRTUAL_OBJECT_BASE::is_auto_match_pdb_xfr(PDB_VIRTUAL_OBJECT_BASE*,
                                                    PDB_MATCH_DATA*) const {
  return false;
}
