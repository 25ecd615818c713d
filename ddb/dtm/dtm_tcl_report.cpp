#include "dtm_tcl_report.h"

DTM_TCL_REPORT::~DTM_TCL_REPORT() { m_text.clear(); }

void DTM_TCL_REPORT::reset() {
  m_value = 0;
  m_text.clear();
}
