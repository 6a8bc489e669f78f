#include "tavrel/http/plugin.h"

namespace tavrel {

// The defaults change nothing and observe nothing.
HttpRequest PluginType::prepare(HttpRequest request, const TargetType&) { return request; }
void PluginType::willSend(const HttpRequest&, const TargetType&) {}
void PluginType::didReceive(const MoyaResult&, const TargetType&) {}
MoyaResult PluginType::process(MoyaResult result, const TargetType&) { return result; }

}  // namespace tavrel
