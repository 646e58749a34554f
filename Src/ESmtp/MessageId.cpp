#include "ESmtp/MessageId.h"

#include <boost/lexical_cast.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace Ondrel {

std::string MessageIdentifier() {
  return MessageIdentifierFrom(
      [] { return boost::lexical_cast<std::string>(boost::uuids::random_generator()()); },
      [] { return boost::uuids::to_string(boost::uuids::random_generator()()); });
}

std::string MessageIdHostPart(const std::string& mail) {
  const std::size_t at = mail.find('@');
  return at != std::string::npos ? mail.substr(at) : std::string(kUnknownHostPart);
}

}  // namespace Ondrel
