#include "FeatureTree.h"

#include <cstring>
#include <rapidxml/rapidxml.hpp>

#include "Failure.h"

namespace vesk::tool {

namespace {

using Element = rapidxml::xml_node<>;

struct KindOfElement {
  const char* element;
  FeatureKind kind;
};

const KindOfElement kKinds[] = {
    {"Integer", FeatureKind::Integer},         {"IntReg", FeatureKind::Integer},
    {"MaskedIntReg", FeatureKind::Integer},    {"IntSwissKnife", FeatureKind::Integer},
    {"IntConverter", FeatureKind::Integer},    {"Float", FeatureKind::Float},
    {"FloatReg", FeatureKind::Float},          {"SwissKnife", FeatureKind::Float},
    {"Converter", FeatureKind::Float},         {"Boolean", FeatureKind::Boolean},
    {"Enumeration", FeatureKind::Enumeration}, {"String", FeatureKind::String},
    {"StringReg", FeatureKind::String},        {"Command", FeatureKind::Command},
    {"Category", FeatureKind::Category}};

const char* const kVisibilities[] = {"Beginner", "Expert", "Guru", "Invisible"};

FeatureKind KindOf(const char* element) {
  for (const auto& entry : kKinds) {
    if (std::strcmp(entry.element, element) == 0) return entry.kind;
  }
  return FeatureKind::Other;
}

std::string ChildText(const Element& element, const char* name) {
  const Element* child = element.first_node(name);
  return child ? std::string(child->value(), child->value_size()) : std::string();
}

Feature Read(const Element& element, const char* name) {
  Feature feature;
  feature.name = name;
  feature.kind = KindOf(element.name());
  feature.unit = ChildText(element, "Unit");
  const std::string visibility = ChildText(element, "Visibility");
  for (int level = 0; level < 4; ++level) {
    if (visibility == kVisibilities[level]) feature.visibility = level;
  }
  if (feature.kind == FeatureKind::Category) {
    for (const Element* child = element.first_node("pFeature"); child;
         child = child->next_sibling("pFeature"))
      feature.children.emplace_back(child->value(), child->value_size());
  }
  return feature;
}

// Nodes stand under the root, or in groups of any depth.
void Collect(const Element& parent, std::map<std::string, Feature>& features) {
  for (const Element* element = parent.first_node(); element; element = element->next_sibling()) {
    if (std::strcmp(element->name(), "Group") == 0) {
      Collect(*element, features);
    } else if (const auto* name = element->first_attribute("Name")) {
      features[name->value()] = Read(*element, name->value());
    }
  }
}

}  // namespace

const char* KindName(FeatureKind kind) {
  switch (kind) {
    case FeatureKind::Integer:
      return "Integer";
    case FeatureKind::Float:
      return "Float";
    case FeatureKind::Boolean:
      return "Boolean";
    case FeatureKind::Enumeration:
      return "Enumeration";
    case FeatureKind::String:
      return "String";
    case FeatureKind::Command:
      return "Command";
    case FeatureKind::Category:
      return "Category";
    case FeatureKind::Other:
      break;
  }
  return "Other";
}

FeatureTree::FeatureTree(std::string xml) {
  rapidxml::xml_document<> document;
  try {
    document.parse<0>(xml.data());
  } catch (const rapidxml::parse_error& error) {
    CallFailed("Mlo_getGenICamXML",
               std::string("the camera's XML does not parse: ") + error.what());
  }
  const Element* description = document.first_node("RegisterDescription");
  if (!description) CallFailed("Mlo_getGenICamXML", "the camera's XML has no RegisterDescription");
  Collect(*description, features_);
  if (const Feature* root = Find("Root")) root_ = *root;
}

const Feature* FeatureTree::Find(const std::string& name) const {
  const auto found = features_.find(name);
  return found == features_.end() ? nullptr : &found->second;
}

}  // namespace vesk::tool
