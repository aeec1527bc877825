#include "json.h"

#include "text.h"

namespace Rci {

JsonObject& JsonObject::add(std::string_view key, std::string_view text) {
    return addValue(key, jsonString(text));
}

JsonObject& JsonObject::add(std::string_view key, std::int64_t number) {
    return addValue(key, std::to_string(number));
}

JsonObject& JsonObject::add(std::string_view key, const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) {
        list += (list.empty() ? "" : ", ") + jsonString(text);
    }
    return addValue(key, "[" + list + "]");
}

JsonObject& JsonObject::addFlag(std::string_view key, bool value) {
    return addValue(key, value ? "true" : "false");
}

JsonObject& JsonObject::addAll(const JsonObject& other) {
    if (!members_.empty() && !other.members_.empty()) {
        members_ += ", ";
    }
    members_ += other.members_;
    return *this;
}

JsonObject& JsonObject::addValue(std::string_view key, const std::string& value) {
    if (!members_.empty()) {
        members_ += ", ";
    }
    members_ += jsonString(key) + ": " + value;
    return *this;
}

std::string jsonArray(const std::vector<JsonObject>& objects) {
    std::string text = "[";
    const char* separator = "\n";
    for (const JsonObject& object : objects) {
        text += separator;
        text += "  " + object.text();
        separator = ",\n";
    }
    return text + (objects.empty() ? "]\n" : "\n]\n");
}

}  // namespace Rci
