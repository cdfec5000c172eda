/// The OpenSSL types that the headers of this folder name, declared as OpenSSL declares them, so that callers need none of
/// its headers.
#pragma once

typedef struct asn1_string_st ASN1_TIME;
typedef struct bio_method_st BIO_METHOD;
typedef struct bio_st BIO;
typedef struct evp_pkey_st EVP_PKEY;
typedef struct ssl_ctx_st SSL_CTX;
typedef struct ssl_st SSL;
typedef struct X509_name_st X509_NAME;
typedef struct x509_st X509;
typedef struct x509_store_ctx_st X509_STORE_CTX;
typedef struct x509_store_st X509_STORE;
