// Structural mutations of a JSON document, for fuzzing the scene reader. Byte changes seldom
// keep a scene valid past the parser's first refusal, so the checks behind it (parents,
// keyframe order, effect parameters) would see few inputs. These change the parsed document
// instead: an array element copied or dropped, a member dropped, and above all a value
// replaced by one of the same kind found elsewhere in the same document (another layer's name
// where a layer parameter is named, another key's time, another layer's size), two elements
// swapped, and a layer given another layer as its parent.
#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <iterator>
#include <random>
#include <utility>
#include <vector>

namespace fuzz {

inline void collectNodes(nlohmann::json& node, std::vector<nlohmann::json*>& nodes)
{
    nodes.push_back(&node);
    if (node.is_structured())
        for (nlohmann::json& child : node)
            collectNodes(child, nodes);
}

inline bool sameKind(const nlohmann::json& a, const nlohmann::json& b)
{
    return a.is_number() ? b.is_number() : a.type() == b.type();
}

// A layer of the scene made the child of another one, named as the scene names layers: the
// references between layers are where the reader's checks are deepest and bytes reach least.
inline void rewireParent(nlohmann::json& document, std::mt19937& random)
{
    if (!document.is_object() || !document.contains("layers") || !document["layers"].is_array())
        return;
    nlohmann::json& layers = document["layers"];
    if (layers.size() < 2)
        return;
    std::uniform_int_distribution<std::size_t> anyLayer(0, layers.size() - 1);
    nlohmann::json& child = layers[anyLayer(random)];
    const nlohmann::json& parent = layers[anyLayer(random)];
    if (child.is_object() && parent.is_object() && parent.contains("name"))
        child["parent"] = parent["name"];
}

inline void mutateStructure(nlohmann::json& document, std::mt19937& random)
{
    std::vector<nlohmann::json*> nodes;
    collectNodes(document, nodes);
    const auto pick = [&](std::size_t count) { return std::uniform_int_distribution<std::size_t>(0, count - 1)(random); };
    nlohmann::json& target = *nodes[pick(nodes.size())];
    switch (pick(7)) {
    case 5:   // two array elements change places (layer order, key order)
        if (target.is_array() && target.size() >= 2)
            std::swap(target[pick(target.size())], target[pick(target.size())]);
        break;
    case 6:
        rewireParent(document, random);
        break;
    case 0:   // an array element twice
        if (target.is_array() && !target.empty()) {
            const std::size_t i = pick(target.size());
            const nlohmann::json copy = target[i];
            target.insert(target.begin() + std::ptrdiff_t(i), copy);
        }
        break;
    case 1:   // an element or member fewer
        if (target.is_array() && !target.empty()) {
            target.erase(pick(target.size()));
        } else if (target.is_object() && !target.empty()) {
            auto member = target.begin();
            std::advance(member, std::ptrdiff_t(pick(target.size())));
            target.erase(member);
        }
        break;
    case 2:   // a number at an edge
        if (target.is_number()) {
            const double edges[] = {0.0, -1.0, 1.0, 0.5, 1e9, -1e9};
            target = edges[pick(std::size(edges))];
        }
        break;
    default: {   // a value of the same kind from elsewhere in the document
        std::vector<const nlohmann::json*> donors;
        for (const nlohmann::json* node : nodes)
            if (node != &target && sameKind(*node, target))
                donors.push_back(node);
        if (!donors.empty()) {
            const nlohmann::json copy = *donors[pick(donors.size())];
            target = copy;
        }
        break;
    }
    }
}

} // namespace fuzz
