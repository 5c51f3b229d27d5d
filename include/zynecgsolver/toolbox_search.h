/* Search, sort and set routines of the vector toolbox.
 *
 * All positions are 1-based. Every routine writes into output records created
 * by the caller (resizing them); none reports an error. A routine for a row
 * reads the second extent and returns a 1 x n row; one for a column reads the
 * first extent and returns an n x 1 column. NaN sorts after every number and
 * is never merged with another NaN. */
#ifndef ZYNECGSOLVER_TOOLBOX_SEARCH_H
#define ZYNECGSOLVER_TOOLBOX_SEARCH_H

#include "zynecgsolver/export.h"
#include "zynecgsolver/types.h"

ZYN_EXTERN_C_BEGIN

/* Find family ---------------------------------------------------------------- */

/* Column mask -> column of the positions of all true elements, ascending. */
ZYN_API void m_find(const emxArray_boolean_T *x, emxArray_real_T *i);
/* Row mask -> row of the positions of all true elements, ascending. */
ZYN_API void m_b_find(const emxArray_boolean_T *x, emxArray_real_T *i);
/* Fixed 15-element mask -> i_data[0 .. i_size[0]-1], the true positions (i_data holds 15). */
ZYN_API void m_c_find(const boolean_T x[15], real_T i_data[], int32_T i_size[1]);
/* Fixed 19-element mask -> i_data[0 .. i_size[0]-1], the true positions (i_data holds 19). */
ZYN_API void m_d_find(const boolean_T x[19], real_T i_data[], int32_T i_size[1]);
/* Column mask -> 1 x 1 column with the first true position, or 0 x 1 when none is true. */
ZYN_API void m_e_find(const emxArray_boolean_T *x, emxArray_real_T *i);
/* Column mask -> 1 x 1 column with the last true position, or 0 x 1 when none is true. */
ZYN_API void m_f_find(const emxArray_boolean_T *x, emxArray_real_T *i);
/* Row mask -> int32 row of the positions of all true elements, ascending. */
ZYN_API void m_eml_li_find(const emxArray_boolean_T *x, emxArray_int32_T *y);
/* Column mask -> int32 column of the positions of all true elements, ascending. */
ZYN_API void m_b_eml_li_find(const emxArray_boolean_T *x, emxArray_int32_T *y);

/* Ranges ---------------------------------------------------------------------- */

/* y = the 1 x n int32 row 1, 2, ..., n; 1 x 0 when n < 1. */
ZYN_API void m_eml_integer_colon(int32_T n, emxArray_int32_T *y);

/* Sorting --------------------------------------------------------------------- */

/* Column x -> int32 column idx such that x(idx) is ascending; stable, NaN last. */
ZYN_API void m_eml_sort_idx(const emxArray_real_T *x, emxArray_int32_T *idx);
/* Row x -> int32 row idx such that x(idx) is ascending; stable, NaN last. */
ZYN_API void m_b_eml_sort_idx(const emxArray_real_T *x, emxArray_int32_T *idx);
/* Sorts the first size[0] elements of x ascending in place (NaN last). */
ZYN_API void m_refp1_sort(emxArray_real_T *x);
/* Sorts the first size[0] elements of the int32 array x ascending in place. */
ZYN_API void m_b_refp1_sort(emxArray_int32_T *x);

/* Sets (rows in, rows out) ---------------------------------------------------- */

/* b = distinct values of row a, ascending: one -Inf, finite values without
 * near-duplicates (|head - v| < eps(head/2)), one +Inf, every NaN. */
ZYN_API void m_unique(const emxArray_real_T *a, emxArray_real_T *b);
/* As m_unique, plus ndx = position in a of each kept value (its first occurrence; each NaN its own). */
ZYN_API void m_b_unique(const emxArray_real_T *a, emxArray_real_T *b, emxArray_real_T *ndx);
/* c = values in ascending int32 row a or ascending row b, each once, ascending. */
ZYN_API void m_union(const emxArray_int32_T *a, const emxArray_int32_T *b, emxArray_int32_T *c);
/* tf (shape of a) = true where a(i) occurs in the ascending int32 row s. */
ZYN_API void m_ismember(const emxArray_int32_T *a, const emxArray_int32_T *s,
                        emxArray_boolean_T *tf);
/* c = values of ascending row a not near-equal to any of ascending row b, once each, ascending. */
ZYN_API void m_setdiff(const emxArray_real_T *a, const emxArray_real_T *b, emxArray_real_T *c);

ZYN_EXTERN_C_END

#endif
