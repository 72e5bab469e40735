/* The whole configuration as one JSON document: "format", "generation", and the sections "records", "features" and
   "lists". A state is such a document's sections with every secret, as the parts (Part.h) give them. */
#pragma once

#include "Part.h"

#include <string>
#include <vector>

namespace wdlt {

struct Snapshot {
    Json state;
    std::string marks; /* what changed it last */
};
/* An opaque text that changes with whatever the state shows. */
std::string generationOf(const Snapshot& snapshot);

/* What every writer of settings, lists and items changes. */
std::string changeMarks();

/* One state that there was, of those parts; a ToolError when it can't be told. The caller holds the change lock, so that
   no tool comes in between. */
Snapshot takeSnapshot(std::span<const Part* const> parts = allParts());

/* The document of a state. */
Json documentOf(const Snapshot& snapshot, bool showSecrets);

/* What a JSON text holds. A usage error for no JSON, or one that has a member twice. `name` is the file's. */
Json parseDocument(const std::string& content, const std::string& name);

/* One of several documents, each laid over those before it: it speaks of the state that they ask for. */
struct Layer {
    const Json* document;
    std::string name = {}; /* what is wrong with it is told under that name */
};
using Layers = std::span<const Layer>;

/* The parts that the documents are about, and all switches, which others bring along: a record or list that can't be
   read doesn't hinder documents that leave it out. */
std::vector<const Part*> partsFor(Layers layers);

struct Wanted {
    Json state;
    std::vector<const Part*> parts;     /* that the documents mention */
    std::vector<const Part*> anew = {}; /* written even if they read as wanted */
};
/* The state that the documents ask for where `now` is the state. All that is wrong with the first wrong one is told in
   one usage error. */
Wanted wantedState(Layers layers, const Json& now);
/* Likewise, where `now` is a document too, which may lack parts. */
Json wantedOf(const Json& document, const Json& now);

/* Null where a state has nothing there. */
const Json* at(const Json& state, const DocumentPath& path);
void put(Json& state, const DocumentPath& path, const Json* value);

/* Of every document that dump prints. */
Json documentSchema();

} // namespace wdlt
