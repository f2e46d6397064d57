// Where an element's node lies.
#pragma once

#include <tamba/lists.h>

// The data begin directly behind the node.
inline void *data_of(const LLHead *node)
{
    return const_cast<LLHead *>(node) + 1;
}

inline LLHead *node_of(const void *elm)
{
    return static_cast<LLHead *>(const_cast<void *>(elm)) - 1;
}
