#include "Table.h"

#include <algorithm>
#include <cstdio>

namespace vesk::tool {

void Table::Print(size_t indent) const {
  std::vector<size_t> widths;
  for (const auto& row : rows_) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t column = 0; column < row.size(); ++column)
      widths[column] = std::max(widths[column], row[column].size());
  }
  for (const auto& row : rows_) {
    std::string line(indent, ' ');
    for (size_t column = 0; column < row.size(); ++column) {
      line += row[column];
      if (column + 1 < row.size())
        line += std::string(widths[column] - row[column].size() + 2, ' ');
    }
    std::puts(line.c_str());
  }
}

}  // namespace vesk::tool
