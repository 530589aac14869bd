// The smallest outside program: built against the installed headers, linked with the installed library.

#include <iostream>

#include "kb/common/Version.h"

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  std::cout << "kb " << kb::GetLibraryVersion() << "\n";
  return kb::GetLibraryVersion() == argv[1] ? 0 : 1;
}
