#include "tools/vfwtool/codec_description.h"

namespace qivm {

std::string CodecDescription::Text() const {
  const std::string& title = description.empty() ? name : description;
  std::string details = title;
  if (!title.empty() && !driver.empty()) {
    details += ", ";
  }
  details += driver;
  const std::string text = FourCcText(code);
  return details.empty() ? text : text + " (" + details + ")";
}

JsonObject CodecDescription::Json() const {
  JsonObject json;
  json.Text("code", FourCcText(code))
      .Text("name", name)
      .Text("description", description)
      .Text("driver", driver);
  return json;
}

}  // namespace qivm
