namespace {

[[maybe_unused]] constexpr int kNothing = 0;

}  // namespace
