	.text
	.file	"util.c"
	.type	impl,@function
impl:
	{
		allocframe(#8)
	}
	{
		dealloc_return
	}
.Lfunc_end0:
	.size	impl, .Lfunc_end0-impl

	.globl	user
	.type	user,@function
user:
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
	.size	user, .Lfunc_end1-user

.set api_reset, impl
