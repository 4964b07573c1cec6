#pragma once
/// @file
/// Warnings are collected while a command runs and printed on standard error only when it
/// succeeds, so that a failing run reports exactly one line.

#include <string>

namespace qormeridional {

void addWarning(const std::string& text);
/// Prints the collected warnings ("qor-meridional: warning: ...") and forgets them.
void printWarnings();

}  // namespace qormeridional
