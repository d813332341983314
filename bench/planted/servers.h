// The tables of planted servers, one per family of operations and kind. planted.txt says what each
// does and which sentence of the header it rests on.
#pragma once

#include "hooks.h"

namespace planted {

std::span<const Server> honest_values();
std::span<const Server> honest_history();
std::span<const Server> honest_tree();
std::span<const Server> honest_session();
std::span<const Server> faulty_writes();
std::span<const Server> faulty_reads();
std::span<const Server> faulty_history();
std::span<const Server> faulty_statistics();
std::span<const Server> faulty_tree();
std::span<const Server> faulty_objects();
std::span<const Server> faulty_session();

}  // namespace planted
