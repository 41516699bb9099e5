#pragma once

namespace quarnel {

// To be called before any other use of OpenSSL or libcurl. Unless the host application has set
// OpenSSL up already, it is kept from tearing itself down at exit() under threads that use it.
void initialiseOpenSsl();

}  // namespace quarnel
