// The blades of a lens close over the first picture and open on the second one.

uniform int blades; // = 7; // 3 to 16: how many blades
uniform float twist; // = 1.2; // 0 to 4: how far the opening turns, in radians
uniform vec3 blade_color; // = vec3(0.1, 0.1, 0.11); // colour of the blades

vec4 transition(vec2 uv) {
    vec2 p = (uv - 0.5) * vec2(ratio, 1.0);
    float open = abs(cos(progress * 3.14159265));
    float turned = (1.0 - open) * twist;
    float sector = 6.2831853 / float(blades);
    float corner = 0.5 * length(vec2(ratio, 1.0)) * 1.02;
    float radius = open * corner;
    // The opening is a polygon; the blade of a pixel is that whose side is nearest.
    float angle = atan(p.y, p.x) - turned;
    float around = mod(angle + 0.5 * sector, sector) - 0.5 * sector;
    float side = length(p) * cos(around) / cos(0.5 * sector * open);
    vec4 picture = progress < 0.5 ? getFromColor(uv) : getToColor(uv);
    float aa = 0.002;
    float covered = open >= 1.0 ? 0.0 : smoothstep(radius - aa, radius + aa, side);
    float along = around / sector + 0.5;
    vec3 blade = blade_color * (0.75 + 0.9 * along) + 0.10 * (1.0 - smoothstep(0.0, 0.02, side - radius));
    return mix(picture, vec4(blade, 1.0), covered);
}
