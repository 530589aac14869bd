#include "kb/functions/StandardPackage.h"

#include "kb/functions/BuiltinFunction.h"
#include "kb/functions/FunctionHelpers.h"
#include "kb/functions/StandardFunctions.h"

namespace kb {
namespace {

// In the order in which the functions are registered: name, syntax behind the name, least and most arguments,
// help, body.
const TBuiltin kStandardFunctions[] = {
    {"and", " <expression>*", 0, kAny,
     "Returns FALSE at the first argument that is FALSE, without evaluating the later ones; else TRUE", standard::And},
    {"assert", " <fact>*", 0, kAny,
     "Asserts the facts in order. Returns the id of the last one, or FALSE when an equal fact exists already",
     standard::Assert},
    {"assert-string", " <string-expression>*", 1, kAny,
     "Asserts the facts that are written in the texts. Returns the id of the last one", standard::AssertString},
    {"batch", " <filename>", 1, 1,
     "Runs the file line by line, each line a complete input; functions that read take the lines that follow. "
     "Returns TRUE",
     standard::Batch},
    {"bind", " <variable> <expression>", 2, 2, "Gives the variable the value of the expression and returns the value",
     standard::Bind},
    {"clear", "", 0, 0, "Removes all facts, rules and other constructs. Returns TRUE", standard::Clear},
    {"clear-storage", "", 0, 0, "Removes all values that store has put away. Returns nil", standard::ClearStorage},
    {"close", " [<logical-name>+]", 0, kAny, "Closes the streams of these names, without a name all. Returns TRUE",
     standard::Close},
    {"do-backward-chaining", " <fact-template-name>*", 0, kAny,
     "Makes rules that wait for a fact of these templates assert a goal, a need- fact that describes it. "
     "Returns TRUE",
     standard::DoBackwardChaining},
    {"dribble-on", " <filename>", 1, 1,
     "Sends what is printed to the standard channel to the file, which is made anew. Returns TRUE",
     standard::DribbleOn},
    {"dribble-off", "", 0, 0, "Ends what dribble-on began. Returns TRUE", standard::DribbleOff},
    {"duplicate", " <fact-index> (<slot-name> <expression>)*", 2, kAny,
     "Asserts a copy of the fact with other values in the slots that are named. Returns the id of the copy",
     standard::Duplicate},
    {"eq", " <expression> <expression>+", 1, kAny,
     "Returns TRUE if the first argument equals each of the others in type and value", standard::Eq},
    {"eq*", " <expression> <expression>+", 1, kAny,
     "Returns TRUE if the first argument equals each of the others in value; the types may differ, and a multifield of "
     "one field in front equals that field",
     standard::EqStar},
    {"=", " <numeric-expression> <numeric-expression>+", 1, kAny,
     "Returns TRUE if the first number equals each of the others exactly", standard::NumericEquals},
    {"exit", "", 0, 0, "Ends the evaluation; no try stops it", standard::Exit},
    {"__get-var", " <variable-name>", 1, 1, "Returns the value of the variable, or nil if it has none",
     standard::GetVar},
    {"fetch", " <lexeme-expression>", 1, 1, "Returns the value that was stored under the name, or nil",
     standard::Fetch},
    {"foreach", " <variable-name> <list-expression> <expression>*", 2, kAny,
     "Gives the variable, written without question mark, each element of the list in turn and runs the "
     "expressions. "
     "Returns the last value, as in (foreach i (create$ red green blue) (bind ?x (str-cat ?i \" color\")) "
     "(printout t ?x))",
     standard::ForEach},
    {"format", " <logical-name> <string-expression> <expression>*", 2, kAny,
     "Prints the values under the control of a text with specifiers such as %d, %6.2f, %-10s and %n. Returns "
     "nil",
     standard::Format},
    {"gensym*", "", 0, 0, "Returns a symbol that has not been used yet", standard::GenSym},
    {"get-fact-duplication", "", 0, 0, "Returns TRUE if a fact that equals another one is ignored, else FALSE",
     standard::GetFactDuplication},
    {"get-slot-value", " <fact-id-expression>|<fact-expression> [<slot-name-expression> ]", 1, 2,
     "Returns the value of the slot of the fact; without slot name, the fields of an ordered fact",
     standard::GetSlotValue},
    {">", " <numeric-expression> <numeric-expression>+", 2, kAny,
     "Returns TRUE if each number is greater than the next one", standard::Greater},
    {">=", " <numeric-expression> <numeric-expression>+", 2, kAny,
     "Returns TRUE if no number is less than the next one", standard::GreaterOrEqual},
    {"halt", "", 0, 0, "Stops the run after the rule that is firing. Returns TRUE", standard::Halt},
    {"if", " <predicate-expression> then <expression>+ [else <expression>+]", 2, kAny,
     "Runs the expressions behind then unless the condition is FALSE, else those behind else. Returns the "
     "last value",
     standard::If},
    {"load", " <filename>", 1, 1, "Reads the constructs of the file, runs the calls in it and returns TRUE",
     standard::Load},
    {"load-facts", " <filename>", 1, 1, "Asserts the facts that are written in the file. Returns TRUE",
     standard::LoadFacts},
    {"<", " <numeric-expression> <numeric-expression>+", 2, kAny,
     "Returns TRUE if each number is less than the next one", standard::Less},
    {"<=", " <numeric-expression> <numeric-expression>+", 2, kAny,
     "Returns TRUE if no number is greater than the next one", standard::LessOrEqual},
    {"member", " <to-find-expression> <expression>+", 2, kAny,
     "Returns the position, from 0, of the first value among the later arguments, or FALSE", standard::Member},
    {"modify", " <fact-index> (<slot-name> <expression>)+", 1, kAny,
     "Changes slots of the fact, which is retracted and asserted anew. Returns its new id", standard::Modify},
    {"neq", " <expression> <expression>*", 1, kAny,
     "Returns TRUE if the first argument equals none of the others in type and value", standard::Neq},
    {"<>", " <numeric-expression> <numeric-expression>*", 1, kAny,
     "Returns TRUE if the first number equals none of the others", standard::NumericDiffers},
    {"not", " <expression>", 1, 1, "Returns TRUE if the argument is FALSE, else FALSE", standard::Not},
    {"open", " <filename> <logical-name> [a|r|w|r+]", 2, 3,
     "Opens the file under the logical name: to be read (r, and without a mode), made anew (w), written at its end (a) "
     "or read and written (r+). Returns the name",
     standard::Open},
    {"or", " <expression>*", 0, kAny,
     "Returns TRUE at the first argument that is TRUE, without evaluating the later ones; else FALSE", standard::Or},
    {"printout", " <logical-name> <expression>*", 0, kAny,
     "Prints the values one behind the other; crlf stands for a line end. Returns nil", standard::PrintOut},
    {"read", " [<logical-name>]", 0, 1, "Reads one word, text or number from the stream, or from the standard channel",
     standard::Read},
    {"readline", " [<logical-name>]", 0, 1,
     "Reads one line from the stream, or from the standard channel. Returns it as a string, EOF for an empty "
     "one",
     standard::ReadLine},
    {"remove", " [<file-name>]", 1, 1, "Removes the file. Returns TRUE, or FALSE if it is not removed",
     standard::RemoveFile},
    {"rename", " [<old-file-name> <new-file-name>]", 2, 2,
     "Gives the file or directory a name that does not exist. Returns TRUE, or FALSE if that fails",
     standard::RenameAny},
    {"reset", "", 0, 0, "Removes all facts and asserts those of the fact sets. Returns TRUE", standard::Reset},
    {"retract", " *|<fact-index>*", 1, kAny, "Removes the facts, or with * all facts. Returns TRUE", standard::Retract},
    {"retract-string", " <fact-string>", 0, kAny,
     "Removes facts that equal the ones written in the texts. Returns TRUE", standard::RetractString},
    {"return", " [<expression>]", 0, 1,
     "Ends the function that is running, with this value. In a rule, without value: pops the focus", standard::Return},
    {"run", " [<integer-expression>]", 0, 1,
     "Fires the rules on the agenda, at most as many as the number says. Returns how many have fired", standard::Run},
    {"save", " <filename>", 1, 1, "Writes all knowledge to the file, to be read with load. Returns TRUE",
     standard::Save},
    {"save-facts", " <file-name> [<fact-template-name>+]", 1, kAny,
     "Writes the facts of the current module to the file, or those of these templates, to be read with load-facts. "
     "Returns TRUE",
     standard::SaveFacts},
    {"set-fact-duplication", " <boolean-expression>", 1, 1,
     "TRUE ignores a fact that equals another one, FALSE lets it in. Returns the previous setting",
     standard::SetFactDuplication},
    {"store", " <variable-name> <value>", 2, 2, "Puts the value away under the name, for fetch. Returns the value",
     standard::Store},
    {"try", " [<expression>*] [finally [<expression>*>] [catch|except [<expression>*]]", 1, kAny,
     "Runs the expressions, those behind finally in any case, and those behind catch after an error, whose "
     "message is "
     "then in ?__ERROR. Returns the last value",
     standard::Try},
    {"throw", " <lexeme-expression>", 1, 1, "Raises an error with the text as its message", standard::Throw},
    {"unwatch", " all|rules|facts|focus|activations|compilations|statistics", 1, 1,
     "Ends the tracing of these things. Returns TRUE", standard::Unwatch},
    {"version", "", 0, 0, "Returns the version of the engine", standard::Version},
    {"watch", " all|rules|facts|focus|activations|compilations|statistics", 1, 1,
     "Prints a line whenever one of these things happens. Returns TRUE", standard::Watch},
    {"while", " <boolean-expression> [do] <expression>*", 2, kAny,
     "Runs the expressions as long as the condition is not FALSE. Returns FALSE", standard::While},

    {"create$", " <expression>*", 0, kAny, "Returns a multifield of the values", standard::CreateMultifield},
    {"delete$", " <multifield-expression> <start-integer-expression> <end-integer-expression>", 3, 3,
     "Returns the multifield without the elements from start to end, counted from 0", standard::DeleteRange},
    {"explode$", " <string-expression> ", 1, 1, "Returns a multifield of the words of the text", standard::Explode},
    {"first$", " <multifield-expression> ", 1, 1, "Returns the first element of the multifield, nil if it is empty",
     standard::First},
    {"implode$", " <multifield-expression> ", 1, 1, "Returns the elements as one text, with blanks between them",
     standard::Implode},
    {"insert$", " <multifield-expression> <integer-expression> <expression>*", 2, kAny,
     "Returns the multifield with each of the values put in at the position, counted from 0", standard::Insert},
    {"length$", " <multifield-expression> ", 1, 1, "Returns the number of elements", standard::Length},
    {"member$", " <expression> <multifield-expression>", 2, 2,
     "Returns the position of the value in the multifield, counted from 0, or FALSE", standard::MemberOfList},
    {"nth$", " <integer-expression> <multifield-expression>", 2, 2,
     "Returns the element at the position, counted from 0", standard::Nth},
    {"replace$", " <multifield-expression> <start-integer-expression> <end-integer-expression> <expression>*", 3, kAny,
     "Returns the multifield with the values in place of the elements from start to end, counted from 0",
     standard::ReplaceRange},
    {"rest$", " <multifield-expression> ", 1, 1, "Returns the multifield without its first element", standard::Rest},
    {"subseq$", " <multifield-expression> <start-integer-expression> <end-integer-expression>", 3, 3,
     "Returns the elements from start to end, counted from 0, as a multifield", standard::Subsequence},
    {"subsetp", " <expression> <multifield-expression>", 2, 2,
     "Returns TRUE if the value, or the elements of the first multifield as a run, stand in the multifield",
     standard::IsSubsequence},

    {"get-current-module", "", 0, 0, "Returns the name of the current module", standard::GetCurrentModule},
    {"set-current-module", "<module-name-expression>", 1, 1, "Makes the module the current one and returns its name",
     standard::SetCurrentModule},
    {"focus", "<module-name-expression>+", 1, kAny,
     "Puts the modules on the focus stack, the first one on top. Returns TRUE", standard::Focus},
    {"clear-focus-stack", "", 0, 0, "Empties the focus stack and stops the run. Returns nil",
     standard::ClearFocusStack},
    {"get-focus", "", 0, 0, "Returns the name of the module in focus, FALSE if there is none", standard::GetFocus},
    {"get-focus-stack", "", 0, 0, "Returns the names of the modules on the focus stack, the top first",
     standard::GetFocusStack},
    {"pop-focus", "", 0, 0, "Takes the top module off the focus stack and returns its name, FALSE if there is none",
     standard::PopFocus},
};

}  // namespace

const TClassInfo& TStandardPackage::StaticClass() noexcept {
  static const TClassInfo info{"TStandardPackage", &TUserPackage::StaticClass(), nullptr,
                               &NewPackage<TStandardPackage>};
  return info;
}

void TStandardPackage::CreateFunctions() {
  TUserPackage::CreateFunctions();
  AddBuiltins(*this, kStandardFunctions);
  AddBuiltins(*this, standard::FileFunctions());
}

}  // namespace kb
