// The parts of Boost.Asio and Beast that are no templates, compiled once instead of in every file.
#include <boost/asio/impl/src.hpp>
#include <boost/beast/src.hpp>
