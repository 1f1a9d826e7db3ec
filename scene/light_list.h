// Host-owned memory for the light list. Every block is a host handle, locked for its whole
// life, whose first 8 bytes hold the handle itself so that the block can be given back
// from its address alone.
#pragma once
#include "scene/light_record.h"

#include <cstddef>

// n bytes inside a locked host handle, or null when the host refuses or gives less.
void* allocateHostBlock(const PF_InData* inData, std::size_t bytes);
// Unlocks and disposes of the handle behind a block from allocateHostBlock (null is ignored).
void releaseHostBlock(const PF_InData* inData, void* block);

// A zeroed record on a 16-byte boundary, or null when the host has no memory for it.
LightRecord* newLightRecord(const PF_InData* inData);

// Gives a record that is in no list back to the host (null is ignored).
void releaseLightRecord(const PF_InData* inData, LightRecord* record);

// Appends a record the list then owns. The item array grows by exactly one slot; when that
// allocation fails the record is not appended (and still belongs to the caller).
bool appendLight(LightList& list, LightRecord* record);

// Gives every record and the item array back to the host and empties the list.
void releaseLights(LightList& list);
