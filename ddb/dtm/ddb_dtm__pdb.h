// Persistence of the timing model: what the model's classes hand the
// persistence layer (h/pdb_sys.h). ddb_dtm__pdb.cpp holds the field lists
// (the serialize of every class), ddb_dtm__pdbg.cpp the registration of the
// 26 classes, their thunks and the checks of what was read. docs/ddb-format.md
// describes the file and the model's classes in it.
#pragma once

#include <cstdint>

#include "pdb_sys.h"

// The deepest ownership (a node below its ancestors, a delay-tree entry below
// its node) that a .ddb segment may hold: the model's destructor and walks
// recurse on it.
inline constexpr std::uint32_t DTM_PDB_MAX_OWNERSHIP_DEPTH = 4096;

// A node owns its linked node when that node's version is 1.
bool dtm_pdb_owns_linked_node(const PDB_OBJECT_BASE* linked);

// Registers the 26 classes in the .ddb segment information, in their fixed
// order, once; static initialisation calls it before main. True when every
// class is registered.
bool dtm_pdb_register_classes();
