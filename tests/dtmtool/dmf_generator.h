// Random, valid DMF text for property tests: deterministic for a seed, every
// delay type (point-to-point lines in all four directions, with and without
// conditions; integer lines in both forms), descriptions of plain and typed
// nodes before and after their delays, paths of one to nine map types,
// integer and floating-point expressions, identifiers, bin and version
// groups, and optionally the sections of an amalgamated file. No two lines
// store a delay at the same place, so the text builds without a report.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "dbs_enums.h"
#include "dtm_string.h"
#include "dtm_tree_data_key.h"

class DMF_GENERATOR {
 public:
  explicit DMF_GENERATOR(unsigned seed) : m_random(seed) {
    for (int v = 1; v < 1000; ++v) {
      add_name(m_descriptors, DTM_WRAPPER_DTM_ENUM, v, [](const char* n, int value) {
        return DTM_STRING::get_dtm_enum(n) == value && value != INDEX_ALL;
      });
    }
    for (int v = 0; v < CDB_RE_ILLEGAL_TYPE; ++v) {
      add_name(m_registers, DTM_WRAPPER_RE_TYPE, v + 1, [](const char* n, int value) {
        return DTM_STRING::get_cdb_re_type_enum(n) == value - 1;
      });
    }
    for (int v = 0; v < DB_MAX_INPUT_PORT_TYPE; ++v) {
      add_name(m_inputs, DTM_WRAPPER_INPUT_PORT, v + 1, [](const char*, int) { return true; });
    }
    for (int v = 0; v < DB_MAX_OUTPUT_PORT_TYPE; ++v) {
      add_name(m_outputs, DTM_WRAPPER_OUTPUT_PORT, v + 1, [](const char*, int) { return true; });
    }
    for (int v = 0; v < DB_MAX_BURIED_PORT_TYPE; ++v) {
      add_name(m_buried, DTM_WRAPPER_BURIED_PORT, v + 1, [](const char*, int) { return true; });
    }
    for (int v = 1; v < DTM_NODE_MAX_ENUM; ++v) {
      const bool node_type = (v >= 47 && v <= 56) || (v >= 60 && v <= 66);
      const char* name = DTM_STRING::get_dtm_node_enum_string(v);
      if (!node_type && name[0] != '<') {
        m_map_types.emplace_back(name);
      }
    }
  }

  // A plain file of about `lines` delay lines.
  std::string plain(int lines) {
    std::string text = "% generated\n";
    body(text, lines, "");
    return text;
  }

  // An amalgamated file: a COMMON section and `devices` device sections
  // (named GEN0, GEN1, ...) of about `lines` delay lines each.
  std::string amalgamated(int lines, int devices) {
    std::string text = std::string(40, '*') + "DEVICE_LISTING";
    for (int d = 0; d < devices; ++d) {
      text += " GEN";
      text += std::to_string(d);
    }
    text += '\n';
    text.append(40, '*');
    text += "START_COMMON\n";
    body(text, lines, "C");
    text += std::string(40, '*') + "END_COMMON\n";
    for (int d = 0; d < devices; ++d) {
      const std::string name = "GEN" + std::to_string(d);
      text += std::string(40, '*') + "START_" + name + "\n";
      body(text, lines, name);
      text += std::string(40, '*') + "END_" + name + "\n";
    }
    return text;
  }

 private:
  using NAMES = std::vector<std::string>;

  template <class KEEP>
  static void add_name(NAMES& names, int family, int id, KEEP keep) {
    const char* name = DTM_ENUM_WRAPPER::get_name(family, id);
    if (name != nullptr && name[0] != '<' && keep(name, id)) {
      names.emplace_back(name);
    }
  }

  int below(int n) { return static_cast<int>(m_random() % static_cast<unsigned>(n)); }
  const std::string& pick(const NAMES& names) {
    return names[static_cast<std::size_t>(below(static_cast<int>(names.size())))];
  }
  bool chance(int percent) { return below(100) < percent; }

  std::string integer_value() {
    const int a = below(2000) - 500;
    switch (below(6)) {
      case 0:
        return "( " + std::to_string(a) + " + " + std::to_string(below(100)) + " )";
      case 1:
        return "( if ( " + std::to_string(a) + " < " + std::to_string(below(1000)) + " ) then " +
               std::to_string(below(300)) + " else ( " + std::to_string(a) + " * 2 ) )";
      default:
        return std::to_string(a);
    }
  }
  std::string float_value() {
    char text[64];
    std::snprintf(text, sizeof text, "%.*g", 1 + below(12),
                  (static_cast<double>(m_random()) / 4294967296.0 - 0.2) * 1000.0);
    switch (below(5)) {
      case 0:
        return std::string("( ") + text + " * 0.5 )";
      case 1:
        return std::string("( ") + text + " / 3 )";
      default:
        return text;
    }
  }
  // The delay part: one group, or groups told apart by bins and versions
  // (the first group is the one a build without bin and version takes).
  std::string groups(const std::string& value) {
    if (!chance(20)) {
      return value;
    }
    return "bin B1 || " + value + " ;; bin B2 || version V2 || " + std::to_string(below(9)) +
           " ;; version V3 || 7";
  }

  std::string path(const std::vector<int>& place) const {
    std::string text;
    for (const int index : place) {
      text += ' ' + m_map_types[static_cast<std::size_t>(index)];
    }
    return text;
  }

  void body(std::string& text, int lines, const std::string& tag) {
    // A pool of places shared by the lines, one to nine map types deep.
    std::vector<std::vector<int>> places;
    const int count = 1 + lines / 12;
    for (int p = 0; p < count; ++p) {
      std::vector<int> place;
      const int depth = 1 + (chance(80) ? below(3) : below(9));
      for (int level = 0; level < depth; ++level) {
        place.push_back(below(chance(70) ? 6 : static_cast<int>(m_map_types.size())));
      }
      places.push_back(place);
    }
    static const char* const k_types[] = {"DTM_MICRO",
                                          "DTM_TABLE",
                                          "DTM_FLOAT_TABLE",
                                          "DTM_RC",
                                          "DTM_RE",
                                          "DTM_RE_TABLE",
                                          "DTM_FF",
                                          "DTM_OUTPUT_PORT_RE",
                                          "DTM_RE_INPUT_PORT",
                                          "DTM_INTEGER",
                                          "DTM_P2P"};
    for (int i = 0; i < lines; ++i) {
      const std::vector<int>& place = places[static_cast<std::size_t>(below(count))];
      const std::string parents = path(place);
      if (chance(8)) {
        const bool typed = chance(40);
        const std::string type = typed ? k_types[below(11)] : "";
        add_line(text, "\"" + tag + " node " + std::to_string(i) + "\"" + parents + " ||" +
                           (typed ? " " + type : ""));
        continue;
      }
      const std::string type = k_types[below(11)];
      std::string keys;
      std::string value;
      if (type == "DTM_MICRO") {
        keys = pick(m_descriptors);
      } else if (type == "DTM_TABLE" || type == "DTM_FLOAT_TABLE") {
        keys = pick(m_descriptors) + " " + pick(m_descriptors);
      } else if (type == "DTM_RC") {
        keys = pick(m_registers) + " " + pick(m_descriptors) +
               (chance(50) ? " " + pick(m_descriptors) : "");
      } else if (type == "DTM_RE") {
        keys = pick(m_registers);
      } else if (type == "DTM_RE_TABLE") {
        keys = pick(m_registers) + " " + pick(m_registers) +
               (chance(40) ? " " + pick(m_descriptors) : "");
      } else if (type == "DTM_FF") {
        keys = pick(m_buried) + " " + pick(m_descriptors);
      } else if (type == "DTM_OUTPUT_PORT_RE") {
        keys = pick(m_outputs) + " " + pick(m_registers);
      } else if (type == "DTM_RE_INPUT_PORT") {
        keys = pick(m_registers) + " " + pick(m_inputs);
      } else if (type == "DTM_INTEGER") {
        keys = (chance(50) ? pick(m_descriptors) + " " : "") + std::to_string(below(1024));
      } else {
        keys = (chance(50) ? pick(m_inputs) : pick(m_buried)) + " " +
               (chance(50) ? pick(m_outputs) : pick(m_buried)) +
               (chance(30) ? " " + pick(m_descriptors) : "");
      }
      // The place as stored: an rc line without an edge is the rising edge.
      const bool short_rc = type == "DTM_RC" && std::count(keys.begin(), keys.end(), ' ') == 1;
      const std::string stored = parents + "|" + type + "|" + keys + (short_rc ? " RC_RISE" : "");
      if (m_used.count(stored) != 0) {
        continue;  // this place is taken
      }
      const bool is_float = type == "DTM_RC" || type == "DTM_FLOAT_TABLE";
      value = groups(is_float ? float_value() : integer_value());
      const std::string id = chance(30) ? tag + "L" + std::to_string(m_next_id++) + " :: " : "";
      if (add_line(text, id + value + " ||" + parents + " || " + type + " " + keys)) {
        m_used.insert(stored);
      }
    }
  }

  // Lines longer than the readers take are not written.
  static bool add_line(std::string& text, const std::string& line) {
    if (line.size() > 298) {
      return false;
    }
    text += line + "\n";
    return true;
  }

  std::mt19937 m_random;
  NAMES m_descriptors;
  NAMES m_registers;
  NAMES m_inputs;
  NAMES m_outputs;
  NAMES m_buried;
  NAMES m_map_types;
  std::set<std::string> m_used;  // parents, type and keys of every delay written
  int m_next_id = 0;
};
