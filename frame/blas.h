#pragma once

// Prototypes of the BLAS and LAPACK routines that the library calls. Arrays are column-major. The lengths of
// the character arguments follow at the end of each list, as Fortran compilers pass them.

#include <cstddef>

extern "C" {
void daxpy_(const int* n, const double* alpha, const double* x, const int* incx, double* y, const int* incy);
void dcopy_(const int* n, const double* x, const int* incx, double* y, const int* incy);
void dscal_(const int* n, const double* alpha, double* x, const int* incx);
void dswap_(const int* n, double* x, const int* incx, double* y, const int* incy);
void dgemv_(const char* trans, const int* m, const int* n, const double* alpha, const double* a,
            const int* lda, const double* x, const int* incx, const double* beta, double* y, const int* incy,
            std::size_t trans_length);
void dgemm_(const char* transa, const char* transb, const int* m, const int* n, const int* k,
            const double* alpha, const double* a, const int* lda, const double* b, const int* ldb,
            const double* beta, double* c, const int* ldc, std::size_t transa_length,
            std::size_t transb_length);
void dger_(const int* m, const int* n, const double* alpha, const double* x, const int* incx, const double* y,
           const int* incy, double* a, const int* lda);
void dtrsv_(const char* uplo, const char* trans, const char* diag, const int* n, const double* a,
            const int* lda, double* x, const int* incx, std::size_t uplo_length, std::size_t trans_length,
            std::size_t diag_length);
void dgbtf2_(const int* m, const int* n, const int* kl, const int* ku, double* ab, const int* ldab, int* ipiv,
             int* info);
void dgbtrs_(const char* trans, const int* n, const int* kl, const int* ku, const int* nrhs, const double* ab,
             const int* ldab, const int* ipiv, double* b, const int* ldb, int* info,
             std::size_t trans_length);
void dgetrs_(const char* trans, const int* n, const int* nrhs, const double* a, const int* lda,
             const int* ipiv, double* b, const int* ldb, int* info, std::size_t trans_length);
void dtrsm_(const char* side, const char* uplo, const char* trans, const char* diag, const int* m,
            const int* n, const double* alpha, const double* a, const int* lda, double* b, const int* ldb,
            std::size_t side_length, std::size_t uplo_length, std::size_t trans_length,
            std::size_t diag_length);
void dlacn2_(const int* n, double* v, double* x, int* isgn, double* est, int* kase, int* isave);
}
