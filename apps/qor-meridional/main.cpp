/// qor-meridional: the meridional coordinate system of a turbomachinery passage from the command
/// line. See `qor-meridional --help` and `qor-meridional <command> --help`.

#include <cstdio>
#include <cstring>
#include <exception>
#include <iostream>
#include <new>
#include <string>

#include "Commands.h"
#include "ToolError.h"
#include "Warnings.h"
#include "qor/foundation/Error.h"

namespace {

struct Command {
  const char* name;
  int (*run)(int, char**);
  const char* summary;
};

const Command kCommands[] = {
    {"demo", qormeridional::runDemo,
     "build the example compressor passage and write everything into ./qor-demo/"},
    {"mesh", qormeridional::runMesh,
     "background mesh of a passage as VTK (all eight fields) and SVG"},
    {"convert", qormeridional::runConvert,
     "points (XYZ or axial/radial/theta) to the coordinate spaces, as CSV"},
    {"invert", qormeridional::runInvert,
     "(space value, theta, span) back to axial/radial/theta or XYZ"},
    {"lines", qormeridional::runLines,
     "lines of constant span or streamwise position, as CSV and SVG"},
    {"segment", qormeridional::runSegment, "per-segment coordinates between internal boundaries"},
};

void printUsage(std::ostream& out) {
  out << "usage: qor-meridional <command> [options]\n\n"
         "Meridional coordinates fitted to a turbomachinery flow passage "
         "(libQORCoordTransform).\n\ncommands:\n";
  for (const Command& c : kCommands) {
    std::string name = c.name;
    name.resize(10, ' ');
    out << "  " << name << c.summary << '\n';
  }
  out << "\nRun 'qor-meridional <command> --help' for the options of a command.\n"
         "Start with 'qor-meridional demo'.\n";
}

/// One line on standard error; newlines inside a message are flattened.
void reportError(std::string text) {
  for (char& ch : text) {
    if (ch == '\n' || ch == '\r') ch = ' ';
  }
  std::fprintf(stderr, "qor-meridional: error: %s\n", text.c_str());
}

}  // namespace

int main(int argc, char** argv) {
  try {
    if (argc < 2) {
      printUsage(std::cerr);
      return qormeridional::kExitFailure;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
      printUsage(std::cout);
      return 0;
    }
    for (const Command& c : kCommands) {
      if (name == c.name) {
        const int status = c.run(argc, argv);
        qormeridional::printWarnings();
        return status;
      }
    }
    throw qormeridional::ToolError("unknown command '" + name + "' (see 'qor-meridional --help')");
  } catch (const qormeridional::ToolError& e) {
    reportError(e.what());
  } catch (const qor::Error& e) {
    reportError(e.getClassName() + "::" + e.getFunctionName() + ": " + e.getMessage());
  } catch (const std::bad_alloc&) {
    reportError("out of memory");
  } catch (const std::exception& e) {
    reportError(e.what());
  } catch (...) {
    reportError("unexpected failure");
  }
  return qormeridional::kExitFailure;
}
