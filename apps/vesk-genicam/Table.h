// Rows of text in aligned columns, for the text form of reports.
#ifndef VESK_APPS_VESK_GENICAM_TABLE_H
#define VESK_APPS_VESK_GENICAM_TABLE_H

#include <string>
#include <vector>

namespace vesk::tool {

class Table {
 public:
  void Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }
  // Each row on a line of its own after indent blanks; the last column is not padded.
  void Print(size_t indent = 0) const;

 private:
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vesk::tool

#endif
