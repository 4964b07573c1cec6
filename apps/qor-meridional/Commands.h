#pragma once
/// @file
/// The subcommands of qor-meridional. Each parses argv from index 2 and returns the exit status;
/// failures are thrown (ToolError, qor::Error) and reported by main().

namespace qormeridional {

int runDemo(int argc, char** argv);
int runMesh(int argc, char** argv);
int runConvert(int argc, char** argv);
int runInvert(int argc, char** argv);
int runLines(int argc, char** argv);
int runSegment(int argc, char** argv);

}  // namespace qormeridional
