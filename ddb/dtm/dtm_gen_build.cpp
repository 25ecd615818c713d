// The build pipeline: a DMF file in, a timing model out, with the optional
// traces of the lines (".trf_line") and of the tree (".trf") beside the input.
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_report.h"

namespace {

constexpr const char* k_source = "dtm_gen";

// The headings of the listings after the first one in a line trace. The
// pipeline neither reorders nor consolidates, so the listings under them are
// the file order again; they show where those passes stand.
constexpr const char* k_listing_headings[] = {"\nDMF REORDERED\n", "\nDMF CONSOLIDATED\n"};

// Opens (creates or truncates) the trace file named after the input; a file
// that cannot be opened swallows the writes.
std::ofstream open_trace(const char* in_file, const char* extension) {
  return std::ofstream(std::string(in_file) + extension, std::ios::out | std::ios::trunc);
}

void dump_records(std::ostream& os, const DTM_LINE_NODE* head) {
  for (const DTM_LINE_NODE* node = head; node != nullptr; node = node->get_next()) {
    node->dump_node(os);
  }
}

DTM_LINE_NODE* last_record(DTM_LINE_NODE* head) {
  DTM_LINE_NODE* last = head;
  while (last->get_next() != nullptr) {
    last = last->get_next();
  }
  return last;
}

// Orders a non-empty list and, when asked, traces it: the records as read,
// then under each of the first `listings` headings the ordered records.
// Returns the head of the ordered list.
DTM_LINE_NODE* order_lines(const DTM_FACTORY& factory, DTM_LINE_NODE* head, const char* in_file,
                           bool write_line_trace, std::size_t listings) {
  std::ofstream trace;
  if (write_line_trace) {
    trace = open_trace(in_file, ".trf_line");
    dump_records(trace, head);
  }
  DTM_LINE_NODE* line_node = factory.sort_line_nodes(last_record(head));
  if (write_line_trace && line_node != nullptr) {
    for (std::size_t i = 0; i < listings; ++i) {
      trace << k_listing_headings[i] << "\n";
      dump_records(trace, line_node);
    }
  }
  return line_node;
}

}  // namespace

DTM_LINE_NODE* DTM_FACTORY::sort_line_nodes(DTM_LINE_NODE* last) const {
  if (!dtm_assert(last != nullptr && last->get_next() == nullptr,
                  "(last != 0) && (last->get_next() == 0)", k_source) &&
      last == nullptr) {
    return nullptr;
  }
  DTM_LINE_NODE* head = last;
  while (head->get_prev() != nullptr) {
    head = head->get_prev();
  }
  return head;
}

DTM_LINE_NODE* DTM_FACTORY::build_line_nodes(const char* in_file, bool write_line_trace) const {
  if (!dtm_assert(in_file != nullptr, "in_file != 0", k_source)) {
    return nullptr;
  }
  DTM_LINE_NODE* head = parse_file(in_file);
  if (head == nullptr) {
    // Nothing to order: a requested trace is left empty, so that no trace of
    // an earlier run survives.
    if (write_line_trace) {
      open_trace(in_file, ".trf_line");
    }
    dtm_assert(false, "line_node != 0", k_source);
    return nullptr;
  }
  DTM_LINE_NODE* line_node = order_lines(*this, head, in_file, write_line_trace, 1);
  dtm_assert(line_node != nullptr, "line_node != 0", k_source);
  return line_node;
}

DTM_NODE* DTM_FACTORY::build_nodes(DTM_NODE* root, const char* in_file, bool write_tree_trace,
                                   bool write_line_trace, const std::string* device_name) const {
  if (!dtm_assert(in_file != nullptr, "in_file != 0", k_source)) {
    return nullptr;
  }
  DTM_LINE_NODE* head =
      device_name != nullptr ? parse_file_advanced(in_file, device_name) : parse_file(in_file);
  if (head == nullptr) {
    std::ostringstream text;
    text << "DMF file (" << in_file << ") does not exist";
    dtm_report(text.str(), k_source);
    // Nothing to order, check or convert. The requested traces are left
    // empty, so that no trace of an earlier run survives.
    if (write_line_trace) {
      open_trace(in_file, ".trf_line");
    }
    if (write_tree_trace) {
      open_trace(in_file, ".trf");
    }
    return nullptr;
  }

  DTM_LINE_NODE* line_node = order_lines(*this, head, in_file, write_line_trace, 2);
  if (!dtm_assert(line_node != nullptr, "line_node != 0", k_source)) {
    line_node = head;
  }
  dtm_assert(check_legality(line_node), "check_legality(line_node)", k_source);
  DTM_NODE* result = convert(line_node, root);
  DTM_LINE_NODE::delete_list(line_node);

  if (write_tree_trace) {
    std::ofstream trace = open_trace(in_file, ".trf");
    if (result != nullptr) {
      result->dump_tree(trace, 0, 1, 1);
    }
  }
  return result;
}

DTM_NODE* DTM_FACTORY::build_nodes(const char* in_file, const std::string* device_name,
                                   bool write_tree_trace, bool write_line_trace) const {
  return build_nodes(nullptr, in_file, write_tree_trace, write_line_trace, device_name);
}

DTM_NODE* DTM_FACTORY::build_nodes(const char* in_file, bool write_tree_trace,
                                   bool write_line_trace) const {
  return build_nodes(nullptr, in_file, write_tree_trace, write_line_trace, nullptr);
}
