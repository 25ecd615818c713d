// DTM_EXPORT: writes a timing model back as DMF text.
//
// The text holds one description line per node that has a description and one
// delay line per stored delay, each naming its node by the path of map types
// from the root and its keys by their enumeration names. Lines come in the
// order of a walk of the tree (a node before its children, children in their
// order), so building the text again gives a tree with the same nodes, in the
// same order, holding the same delays (docs/dtmtool.md).
#pragma once

#include <cstddef>
#include <ostream>

class DTM_NODE;

class DTM_EXPORT {
 public:
  DTM_EXPORT() = delete;

  struct DTM_EXPORT_COUNTS {
    std::size_t m_descriptions = 0;  // description lines written
    std::size_t m_delays = 0;        // delay lines written
    std::size_t m_refused = 0;       // descriptions and delays left out (each node reported)
  };

  // Writes the model below `root` (its children; the root's own description
  // as a line without parents). What no DMF line can express (a description
  // holding a double quote, a key without a name, a path too deep or through
  // a delay type, data on a node that is no delay type, a line longer than
  // the readers accept) is left out and reported once per node, with the
  // source "dtm_export". Only a node's own data is written, never what it
  // reaches through a linked node; bins and versions of nodes have no DMF
  // form either.
  static DTM_EXPORT_COUNTS write_dmf(const DTM_NODE* root, std::ostream& os);
};
