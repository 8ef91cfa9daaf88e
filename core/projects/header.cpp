#include "core/projects/header.h"

#include "core/foundation/text.h"
#include "core/projects/document.h"

namespace kavel::projects {

Header::Header(const Document& document)
    : Header(document.name(), document.filename(), document.edit_timestamp, document.compatible()) {
}

std::string Header::text() const {
  return foundation::format(
      "Project.Header(name=\"{}\", filename=\"{}\", edit_timestamp=\"{}\", compatible={})",
      {name, filename, foundation::number_text(edit_timestamp), compatible ? "True" : "False"});
}

}  // namespace kavel::projects
