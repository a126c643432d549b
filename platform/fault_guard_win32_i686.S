/* int QivmRunGuarded(void (*function)(void*), void* argument), cdecl, 32-bit Windows.
 *
 * Calls function(argument) under a structured-exception registration record of its own, pushed on
 * the chain at fs:[0]. Returns 1 when the call came back, 0 when an exception ended it. The record
 * sits on the stack right below the saved registers:
 *
 *   esp -> previous record, handler, edi, esi, ebx, ebp, return address, function, argument
 */
        .intel_syntax noprefix
        .text
        .globl  _QivmRunGuarded
        .def    _QivmRunGuarded; .scl 2; .type 32; .endef
_QivmRunGuarded:
        push    ebp
        push    ebx
        push    esi
        push    edi
        push    OFFSET handler
        push    DWORD PTR fs:[0]
        mov     fs:[0], esp
        mov     eax, [esp + 28]
        push    DWORD PTR [esp + 32]
        call    eax
        add     esp, 4
        mov     eax, 1
leave_guard:
        pop     DWORD PTR fs:[0]
        add     esp, 4
        pop     edi
        pop     esi
        pop     ebx
        pop     ebp
        ret

/* EXCEPTION_DISPOSITION handler(EXCEPTION_RECORD*, record, CONTEXT*, void*), cdecl. */
handler:
        mov     eax, [esp + 4]
        test    DWORD PTR [eax + 4], 6          /* EXCEPTION_UNWINDING | EXCEPTION_EXIT_UNWIND */
        jnz     pass_by
        push    0
        push    eax
        push    OFFSET landed
        push    DWORD PTR [esp + 20]            /* our record: unwind everything above it */
        call    _RtlUnwind@16
landed:
        /* Of the registers only esp is to be trusted; it is where it was when handler began. */
        mov     esp, [esp + 8]
        fnclex
        emms
        cld
        xor     eax, eax
        jmp     leave_guard
pass_by:
        mov     eax, 1                          /* ExceptionContinueSearch */
        ret
