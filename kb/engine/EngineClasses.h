// The classes of the library that are known by name.
#pragma once

namespace kb {

/// Registers them once for the process: engine, rules, fact sets, function components, packages and the functions that
/// a component stream can hold. Every engine calls it; a host that reads a stream without having made an engine does.
void RegisterEngineClasses();

}  // namespace kb
