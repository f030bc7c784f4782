// The features of a camera as its GenICam XML declares them: kind, unit, visibility and the
// category tree under "Root". Values and access modes come from the library, not from here.
#ifndef VESK_APPS_VESK_GENICAM_FEATURE_TREE_H
#define VESK_APPS_VESK_GENICAM_FEATURE_TREE_H

#include <map>
#include <string>
#include <vector>

namespace vesk::tool {

enum class FeatureKind { Integer, Float, Boolean, Enumeration, String, Command, Category, Other };

const char* KindName(FeatureKind kind);

struct Feature {
  std::string name;
  FeatureKind kind = FeatureKind::Other;
  std::string unit;
  // 0 beginner, 1 expert, 2 guru, 3 invisible.
  int visibility = 0;
  // The features of a category, in the XML's order.
  std::vector<std::string> children;
};

class FeatureTree {
 public:
  // Ends the command when the text is no GenICam XML.
  explicit FeatureTree(std::string xml);

  // The feature of that name, or null.
  const Feature* Find(const std::string& name) const;
  const Feature& Root() const { return root_; }

 private:
  Feature root_;
  std::map<std::string, Feature> features_;
};

}  // namespace vesk::tool

#endif
