// The factory: reads DMF files into line records and, from them, builds the
// timing model. It holds no state; every operation is static or constant.
#pragma once

#include <string>
#include <vector>

#include "dtm_line_node.h"
#include "dtm_types.h"

class DTM_FACTORY {
 public:
  // Section markers of an amalgamated file; each long one starts with 40 asterisks.
  static const char* const DTM_DEVICE_LISTING;
  static const char* const DTM_START_COMMON;
  static const char* const DTM_END_COMMON;
  static const char* const DTM_START_DIE;
  static const char* const DTM_END_DIE;
  static const char* const DTM_COMMON_TAG;

  // Longest line the readers accept, line end excluded.
  static constexpr std::size_t DTM_MAX_LINE_LENGTH = 298;

  // ---- DMF reader -------------------------------------------------------
  // A plain file: head of the record list, or null when it holds no DMF line.
  DTM_LINE_NODE* parse_file(const char* in_file) const;
  // An amalgamated file, for one device: the COMMON lines read before the
  // device's section, then the device's lines; null when the device's section
  // is missing or never closed.
  DTM_LINE_NODE* parse_file_advanced(const char* in_file, const std::string* device_name) const;
  // Appends the device names of the listing line (the first line) to `devices`.
  void get_device_listing(const char* in_file, std::vector<std::string>& devices) const;
  // Turns one line (modified in place) into a record linked behind `prev`;
  // returns the new record, or `prev` when the line holds no word.
  DTM_LINE_NODE* parse_a_line(DTM_LINE_NODE* prev, char* line, DTM_SHORT line_number) const;
};
