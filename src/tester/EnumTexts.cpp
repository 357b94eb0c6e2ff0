#include "tester/EnumTexts.h"

#include "tester/QACheck.h"
#include "tester/QACheckOutcome.h"

namespace qatester {

const char* frameTypeText(QA_FrameType type) {
  switch (type) {
    case QA_FRAME_TYPE_INTERLACED:
      return "Interlaced";
    case QA_FRAME_TYPE_PROGRESSIVE:
      return "Progressive";
    default:
      return "Unknown";
  }
}

const char* fieldTypeText(QA_FieldType type) {
  switch (type) {
    case QA_FIELD_TYPE_LOWER:
      return "Lower";
    case QA_FIELD_TYPE_UPPER:
      return "Upper";
    default:
      return "Unknown";
  }
}

}  // namespace qatester

const char* getStateText(QAState state) {
  switch (state) {
    case QAState::pass:
      return "pass";
    case QAState::info:
      return "info";
    case QAState::warn:
      return "warn";
    case QAState::fail:
      return "fail";
    default:
      return "not-measured";
  }
}

const char* getFamilyText(QAFamily family) {
  return family == QAFamily::programme ? "programme" : "classic";
}

const char* getSeverityText(QASeverity severity) {
  switch (severity) {
    case QASeverity::off:
      return "off";
    case QASeverity::info:
      return "info";
    case QASeverity::warn:
      return "warn";
    default:
      return "fail";
  }
}
