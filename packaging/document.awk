# Gives each heading of a document's HTML the anchor that its links name, and makes links to other
# documents links to their HTML.
/^<h[1-6]>/ {
    anchor = tolower($0)
    gsub(/<[^>]*>|&[a-z]+;/, "", anchor)
    gsub(/[^a-z0-9 _-]/, "", anchor)
    gsub(/ /, "-", anchor)
    sub(/>/, " id=\"" anchor "\">")
}
{
    gsub(/\.md"/, ".html\"")
    gsub(/\.md#/, ".html#")
    print
}
