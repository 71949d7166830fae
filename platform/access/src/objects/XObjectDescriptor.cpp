#include <zeb/XObjectDescriptor.h>
#include <zebutil/JsonObject.h>

#include <utility>

namespace zeb {

namespace {

QueryOptions queryOptions(const std::vector<std::string>& fields, QueryOptions::EXPAND_LEVEL expandLevel,
                          const std::vector<std::string>& expandFields,
                          const std::vector<QueryOptions::SortKey>& sortBy) {
    QueryOptions options;
    options.setFields(fields);
    options.setExpand(expandLevel, expandFields);
    options.setSortBy(sortBy);
    return options;
}

void setIfPresent(zebutil::JsonObject& json, const std::string& key,
                  const zebutil::Optional<std::string>& value) {
    if (value) {
        json.setString(key, value.getValue());
    }
}

}  // namespace

XObjectDescriptor::XObjectDescriptor() = default;

XObjectDescriptor::XObjectDescriptor(std::string serviceName, std::string resourceName)
    : serviceName_(std::move(serviceName)), resourceName_(std::move(resourceName)) {}

XObjectDescriptor::XObjectDescriptor(const XObjectDescriptor&) = default;
XObjectDescriptor::XObjectDescriptor(XObjectDescriptor&&) noexcept = default;
XObjectDescriptor& XObjectDescriptor::operator=(const XObjectDescriptor&) = default;
XObjectDescriptor& XObjectDescriptor::operator=(XObjectDescriptor&&) noexcept = default;
XObjectDescriptor::~XObjectDescriptor() = default;

void XObjectDescriptor::setId(std::string id) {
    id_.setValue(std::move(id));
}

void XObjectDescriptor::setName(std::string name) {
    name_.setValue(std::move(name));
}

void XObjectDescriptor::setUri(std::string uri) {
    uri_.setValue(std::move(uri));
}

std::string XObjectDescriptor::getRelativeUri() const {
    std::string path;
    for (const std::string* part : {&serviceName_, &resourceName_}) {
        if (!part->empty()) {
            path += "/" + *part;
        }
    }
    return id_ ? path + "/" + id_.getValue() : path;
}

void XObjectDescriptor::setQueryOptions(QueryOptions options) {
    queryOptions_ = std::move(options);
}

void XObjectDescriptor::setQueryOptions(const std::vector<std::string>& fields,
                                        QueryOptions::EXPAND_LEVEL expandLevel) {
    queryOptions_ = queryOptions(fields, expandLevel, {}, {});
}

void XObjectDescriptor::setQueryOptions(const std::vector<std::string>& fields,
                                        QueryOptions::EXPAND_LEVEL expandLevel,
                                        const std::vector<std::string>& expandFields,
                                        const std::vector<QueryOptions::SortKey>& sortBy) {
    queryOptions_ = queryOptions(fields, expandLevel, expandFields, sortBy);
}

void XObjectDescriptor::setQueryOptions(const std::vector<std::string>& fields,
                                        QueryOptions::EXPAND_LEVEL expandLevel,
                                        const std::vector<std::string>& expandFields,
                                        const std::vector<QueryOptions::SortKey>& sortBy, std::int64_t limit,
                                        std::int64_t offset) {
    queryOptions_ = queryOptions(fields, expandLevel, expandFields, sortBy);
    queryOptions_.setLimit(limit);
    queryOptions_.setOffset(offset);
}

void XObjectDescriptor::setQueryOptions(const std::vector<std::string>& fields,
                                        QueryOptions::EXPAND_LEVEL expandLevel,
                                        const std::vector<std::string>& expandFields,
                                        const std::vector<QueryOptions::SortKey>& sortBy, std::int64_t limit,
                                        const std::string& offsetId) {
    queryOptions_ = queryOptions(fields, expandLevel, expandFields, sortBy);
    queryOptions_.setLimit(limit);
    queryOptions_.setOffset(offsetId);
}

void XObjectDescriptor::setQueryOptionsLimit(const std::vector<std::string>& fields,
                                             QueryOptions::EXPAND_LEVEL expandLevel,
                                             const std::vector<std::string>& expandFields,
                                             const std::vector<QueryOptions::SortKey>& sortBy,
                                             std::int64_t limit) {
    queryOptions_ = queryOptions(fields, expandLevel, expandFields, sortBy);
    queryOptions_.setLimit(limit);
}

void XObjectDescriptor::setQueryOptionsOffset(const std::vector<std::string>& fields,
                                              QueryOptions::EXPAND_LEVEL expandLevel,
                                              const std::vector<std::string>& expandFields,
                                              const std::vector<QueryOptions::SortKey>& sortBy,
                                              std::int64_t offset) {
    queryOptions_ = queryOptions(fields, expandLevel, expandFields, sortBy);
    queryOptions_.setOffset(offset);
}

void XObjectDescriptor::setQueryOptionsOffset(const std::vector<std::string>& fields,
                                              QueryOptions::EXPAND_LEVEL expandLevel,
                                              const std::vector<std::string>& expandFields,
                                              const std::vector<QueryOptions::SortKey>& sortBy,
                                              const std::string& offsetId) {
    queryOptions_ = queryOptions(fields, expandLevel, expandFields, sortBy);
    queryOptions_.setOffset(offsetId);
}

std::shared_ptr<zebutil::JsonObject> XObjectDescriptor::getAsJson() const {
    auto json = std::make_shared<zebutil::JsonObject>();
    setIfPresent(*json, "id", id_);
    setIfPresent(*json, "name", name_);
    setIfPresent(*json, "uri", uri_);
    return json;
}

std::shared_ptr<zebutil::JsonObject> XObjectDescriptor::getAsZEBBody() const {
    return std::make_shared<zebutil::JsonObject>();
}

std::shared_ptr<zebutil::JsonObject> XObjectDescriptor::getAsReference() const {
    auto json = std::make_shared<zebutil::JsonObject>();
    json->setString("uri", getReferenceUri());
    json->setString("id", id_.getValue());
    json->setString("name", name_.getValue());
    return json;
}

std::string XObjectDescriptor::getReferenceUri() const {
    return uri_ ? uri_.getValue() : getRelativeUri();
}

void XObjectDescriptor::fillIdentity(const zebutil::JsonObject& json) {
    if (json.has("id")) {
        setId(json.getString("id"));
    }
    if (json.has("name")) {
        setName(json.getString("name"));
    }
    if (json.has("uri")) {
        setUri(json.getString("uri"));
    }
}

void XObjectDescriptor::setIdFromUri(const std::string& uri) {
    // Without a separator, npos + 1 is 0: the id is the whole uri.
    setId(uri.substr(uri.find_last_of("/\\") + 1));
    setUri(uri);
}

}  // namespace zeb
