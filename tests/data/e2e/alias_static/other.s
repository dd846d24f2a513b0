	.text
	.file	"other.c"
	.globl	impl
	.type	impl,@function
impl:
	{
		allocframe(#96)
	}
	{
		dealloc_return
	}
.Lfunc_end0:
	.size	impl, .Lfunc_end0-impl

	.globl	caller
	.type	caller,@function
caller:
	{
		allocframe(#0)
	}
	{
		call api_reset
	}
	{
		dealloc_return
	}
.Lfunc_end1:
	.size	caller, .Lfunc_end1-caller
