#pragma once

#include <string>

#include "SeriesReport.h"
#include "tester/QAVerdict.h"

namespace cli {

/// The series of a file as ffprobe writes frames and the figures of its filters, for viewers of
/// such reports: XML, compressed as gzip does. Only figures that these filters would have, too;
/// what is not known is not there. The XML is compressed as it is made.
std::string qctoolsText(const QAFileFacts& facts, const SeriesStore& store);

}  // namespace cli
