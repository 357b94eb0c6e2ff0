#include "tester/QAVersion.h"

#include <boost/version.hpp>

#include "media/LibraryVersions.h"

const char* getQATesterVersion() {
  return QATESTER_VERSION;
}

std::string getQATesterLibraryVersions() {
  const int boost = BOOST_VERSION;
  return qatester::ffmpegVersions() + "Boost " + std::to_string(boost / 100000) + "." +
         std::to_string(boost / 100 % 1000) + "." + std::to_string(boost % 100) + "\n";
}
