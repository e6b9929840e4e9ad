// Boost.URL's compiled part, built from its headers into the target that links Boost::url.
#include <boost/url/src.hpp>
