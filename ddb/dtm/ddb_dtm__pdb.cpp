// The persisted fields of the model's classes: one serialize per class, each
// transferring the class's own fields in their fixed order between
// serialize_begin and serialize_end. The same code writes and reads; the
// layer (h/pdb_sys.h) checks the order against the file's class layouts.
#include "ddb_dtm__pdb.h"

#include <memory>

#include "dtm_data_class.h"
#include "dtm_ff_node.h"
#include "dtm_float_table_node.h"
#include "dtm_integer_node.h"
#include "dtm_line_node.h"
#include "dtm_micro_node.h"
#include "dtm_node.h"
#include "dtm_output_port_re_node.h"
#include "dtm_p2p_node.h"
#include "dtm_rc_node.h"
#include "dtm_re_input_port_node.h"
#include "dtm_re_node.h"
#include "dtm_re_table_node.h"
#include "dtm_table_node.h"
#include "dtm_tree_data.h"
#include "dtm_tree_data_key.h"

namespace {

constexpr const char* k_source = "ddb_dtm__pdb";

// The transfer of one class's fields: the bracket, the source name for the
// layer's messages, the fields.
template <class OBJECT, class FIELDS>
void transfer(PDB_SEGMENT& segment, const PDB_CLASS_INFO* info, const OBJECT* object,
              FIELDS&& fields) {
  segment.serialize_begin(info, object);
  segment.set_source(k_source);
  fields();
  segment.serialize_end();
}

// Frees an array that pdb_array_xfr_ made while reading.
template <class T>
struct ARRAY_HOLDER {
  T* m_array = nullptr;
  ~ARRAY_HOLDER() { delete[] m_array; }
};

}  // namespace

bool dtm_pdb_owns_linked_node(const PDB_OBJECT_BASE* linked) {
  return static_cast<const DTM_NODE*>(linked)->get_version() == 1;
}

// --- Timing nodes -------------------------------------------------------------------

void DTM_NODE::serialize(PDB_SEGMENT& segment) {
  transfer(segment, DTM_NODE::s_pdb_class_info, this, [&] {
    segment.xfr_ref_vector("m_nodes", m_nodes, DTM_NODE::s_pdb_class_info, PDB_OWNED);
    segment.xfr("m_id", m_id);
    segment.xfr("m_writable", m_writable);
    segment.xfr("m_description", m_description);
    segment.xfr("m_version", m_version);
    segment.xfr("m_bin", m_bin);
    segment.xfr_ref("m_data_root", m_data_root, DTM_TREE_DATA::s_pdb_class_info, PDB_OWNED);
    segment.xfr_ref("m_linked_node", m_linked_node, DTM_NODE::s_pdb_class_info,
                    PDB_OWNERSHIP::by_rule(&dtm_pdb_owns_linked_node));
  });
}

// A typed leaf (and a point-to-point direction) adds no field of its own.
template <class KIND>
void DTM_TYPED_NODE<KIND>::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] { DTM_NODE::serialize(segment); });
}

template void DTM_TYPED_NODE<DTM_FF_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_RE_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_RE_TABLE_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_RE_INPUT_PORT_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_OUTPUT_PORT_RE_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_TABLE_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_FLOAT_TABLE_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_INTEGER_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_RC_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_MICRO_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_P2P_IN_OUT_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_P2P_IN_BURIED_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_P2P_BURIED_OUT_KIND>::serialize(PDB_SEGMENT&);
template void DTM_TYPED_NODE<DTM_P2P_BURIED_BURIED_KIND>::serialize(PDB_SEGMENT&);

void DTM_P2P_NODE::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    DTM_NODE::serialize(segment);
    segment.xfr_ref("m_in_out_node", m_in_out_node, DTM_P2P_IN_OUT_NODE::s_pdb_class_info,
                    PDB_OWNED);
    segment.xfr_ref("m_in_buried_node", m_in_buried_node, DTM_P2P_IN_BURIED_NODE::s_pdb_class_info,
                    PDB_OWNED);
    segment.xfr_ref("m_buried_out_node", m_buried_out_node,
                    DTM_P2P_BURIED_OUT_NODE::s_pdb_class_info, PDB_OWNED);
    segment.xfr_ref("m_buried_buried_node", m_buried_buried_node,
                    DTM_P2P_BURIED_BURIED_NODE::s_pdb_class_info, PDB_OWNED);
  });
}

// --- Line records ---------------------------------------------------------------------

// Each record owns the next one; the list is freed from its head in a loop,
// so the link adds no ownership depth.
void DTM_LINE_NODE::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    SAVED_WORDS words = save_words();
    segment.xfr("m_line_number", m_line_number);
    segment.xfr("m_marked", m_marked);
    segment.xfr("m_is_description", m_is_description);
    segment.xfr("m_description", words.m_description);
    segment.xfr("m_id", words.m_id);
    segment.xfr("m_delays", words.m_delays);
    segment.xfr("m_parents", words.m_parents);
    segment.xfr("m_modifiers", words.m_modifiers);
    segment.xfr("m_scalers", words.m_scalers);
    segment.xfr("m_offsets", words.m_offsets);
    segment.xfr("m_bins", words.m_bins);
    segment.xfr("m_versions", words.m_versions);
    segment.xfr_ref("m_prev", m_prev, DTM_LINE_NODE::s_pdb_class_info, PDB_NOT_OWNED);
    segment.xfr_ref("m_next", m_next, DTM_LINE_NODE::s_pdb_class_info, PDB_OWNED_FLAT);
    if (segment.is_reading()) {
      load_words(words);
    }
  });
}

// --- Enum-keyed data chains ---------------------------------------------------------

// Siblings and sub trees are freed by rotations, without recursion: the links
// add no ownership depth.
void DTM_BASE_DATA::serialize(PDB_SEGMENT& segment) {
  transfer(segment, DTM_BASE_DATA::s_pdb_class_info, this, [&] {
    segment.xfr("m_enum", m_enum);
    segment.xfr_ref("m_left", m_left, DTM_BASE_DATA::s_pdb_class_info, PDB_OWNED_FLAT);
    segment.xfr_ref("m_right", m_right, DTM_BASE_DATA::s_pdb_class_info, PDB_OWNED_FLAT);
  });
}

void DTM_INT_DATA::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    DTM_BASE_DATA::serialize(segment);
    segment.xfr("m_int_value", m_int_value);
  });
}

void DTM_FLOAT_DATA::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    DTM_BASE_DATA::serialize(segment);
    segment.xfr("m_float_value", m_float_value);
  });
}

void DTM_PTR_DATA::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    DTM_BASE_DATA::serialize(segment);
    segment.xfr_ref("m_ptr", m_ptr, DTM_BASE_DATA::s_pdb_class_info, PDB_OWNED_FLAT);
  });
}

// --- Balanced keyed delay tree ----------------------------------------------------------

void DTM_ENUM_WRAPPER::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    segment.xfr("m_enum_type", m_enum_type);
    segment.xfr("m_enum_id", m_enum_id);
  });
}

// The wrappers go as an array of m_num_wrapper elements. Reading puts up to
// two of them back into the key's inline storage, as the constructors do.
void DTM_TREE_DATA_KEY::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    const DTM_SHORT given = m_num_wrapper > 0 ? m_num_wrapper : DTM_SHORT{0};
    DTM_SHORT count;
    if (segment.is_reading()) {
      // Short arrays are read straight into the inline storage.
      ARRAY_HOLDER<DTM_ENUM_WRAPPER> read;
      count = pdb_array_xfr_small_(segment, "m_id", read.m_array, m_inline, k_inline_capacity,
                                   given, DTM_ENUM_WRAPPER::s_pdb_class_info);
      release();
      if (read.m_array != nullptr) {
        m_id = read.m_array;
        read.m_array = nullptr;
      }
    } else {
      count = pdb_array_xfr_(segment, "m_id", m_id, given, DTM_ENUM_WRAPPER::s_pdb_class_info);
    }
    segment.xfr("m_num_wrapper", m_num_wrapper);
    segment.check(count == (m_num_wrapper > 0 ? m_num_wrapper : 0),
                  "m_num_wrapper counts the wrappers of m_id");
  });
}

// A key belongs to its node alone: it goes inside the node's record, as an
// array of no key (a node without key) or one key, and is read back into the
// node's own key storage. No separate object, no reference to link.
void DTM_TREE_DATA::serialize(PDB_SEGMENT& segment) {
  transfer(segment, DTM_TREE_DATA::s_pdb_class_info, this, [&] {
    segment.xfr_ref("m_left", m_left, DTM_TREE_DATA::s_pdb_class_info, PDB_OWNED);
    segment.xfr_ref("m_right", m_right, DTM_TREE_DATA::s_pdb_class_info, PDB_OWNED);
    if (segment.is_reading()) {
      // One key is read straight into the node's key storage.
      ARRAY_HOLDER<KEY> read;
      const int count = pdb_array_xfr_small_(segment, "m_key", read.m_array, &m_key_storage, 1, 0,
                                             KEY::s_pdb_class_info);
      segment.check(count <= 1, "m_key holds at most one key");
      if (count == 1) {
        m_key = &m_key_storage;
      }
    } else {
      pdb_array_xfr_(segment, "m_key", m_key, m_key != nullptr ? 1 : 0, KEY::s_pdb_class_info);
    }
    segment.xfr("m_balance_factor", m_balance_factor);
  });
}

void DTM_TREE_INT_DATA::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    DTM_TREE_DATA::serialize(segment);
    segment.xfr("m_int_data", m_int_data);
  });
}

void DTM_TREE_FLOAT_DATA::serialize(PDB_SEGMENT& segment) {
  transfer(segment, s_pdb_class_info, this, [&] {
    DTM_TREE_DATA::serialize(segment);
    segment.xfr("m_float_data", m_float_data);
  });
}
