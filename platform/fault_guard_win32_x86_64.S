/* int QivmRunGuarded(void (*function)(void*), void* argument), 64-bit Windows.
 *
 * Calls function(argument) inside one scope of the system's C handler whose filter accepts every
 * exception. Returns 1 when the call came back, 0 when an exception ended it.
 */
        .intel_syntax noprefix
        .text
        .globl  QivmRunGuarded
        .def    QivmRunGuarded; .scl 2; .type 32; .endef
        .seh_proc QivmRunGuarded
QivmRunGuarded:
        push    rbp
        .seh_pushreg rbp
        sub     rsp, 32
        .seh_stackalloc 32
        .seh_endprologue
        mov     rax, rcx
        mov     rcx, rdx
scope_begin:
        call    rax
        nop                                     /* keeps the return address inside the scope */
scope_end:
        mov     eax, 1
leave_guard:
        add     rsp, 32
        pop     rbp
        ret
landed:
        fnclex
        emms
        xor     eax, eax
        jmp     leave_guard
        .seh_handler __C_specific_handler, @except
        .seh_handlerdata
        .long   1                               /* one scope; filter 1 accepts all */
        .rva    scope_begin, scope_end
        .long   1
        .rva    landed
        .text
        .seh_endproc
