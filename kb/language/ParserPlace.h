// Place and routine for the faults that other parts raise while the parser works. For the .cpp files of this
// folder only.
#pragma once

#include "kb/language/KBClipsParser.h"
#include "kb/platform/Exceptions.h"

namespace kb {

template <class F>
auto TKBClipsParser::Placed(std::string_view where, F&& work) -> decltype(work()) {
  try {
    return work();
  } catch (const EKBParseException&) {
    throw;
  } catch (const EKBException& fault) {
    ParseErrorText(where, fault.Id(), fault.Message());
  } catch (const ERecursionError& fault) {
    ParseErrorText(where, TKBMessage::RecursionTooDeep, fault.Message());
  }
}

}  // namespace kb
