// kbdoc EXAMPLES OUTPUT: writes the reference of all functions.
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

#include "apps/kbdoc/FunctionReference.h"
#include "kb/platform/FileReplacement.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "Usage: kbdoc EXAMPLES OUTPUT\n";
    return 2;
  }
  try {
    std::ifstream file(argv[1], std::ios::binary);
    if (!file) throw std::runtime_error(std::string("Cannot open file \"") + argv[1] + "\"");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    kb::TFileReplacement output(argv[2]);
    output.Stream() << kbdoc::FunctionReference(kbdoc::ReadExamples(text));
    output.Commit();
  } catch (const std::exception& error) {
    std::cerr << "kbdoc: " << error.what() << '\n';
    return 1;
  }
  return 0;
}
