// LeakSanitizer suppressions of the programs that make TLS connections through qarnldap.
//
// OpenLDAP 2.5's GnuTLS glue (tlsg_ctx_init) never frees the client key and certificate list
// it loads into a TLS context. qarnldap builds one context per distinct TLS setting and reuses
// it, so this happens once per setting, not per connection. Everything concerned is allocated
// inside GnuTLS (and its libtasn1 and GMP); qarnldap never calls GnuTLS itself, so a leak of its
// own stays reported.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libgnutls.so\n"
           "leak:libtasn1.so\n"
           "leak:libgmp.so\n";
}
