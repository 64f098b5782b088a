// WS-Discovery (April 2005) over SOAP 1.2 with WS-Addressing (August 2004),
// and the vendor extension that the family's devices add to their discovery
// messages. soapcpp2 turns this file into the readers and writers of every
// message; the build runs it, and what it makes is never committed.
//
// The namespace table that goes on the wire is WSDNamespaces.cpp's, not
// the one soapcpp2 derives from the lines below.

//gsoap wsa schema namespace: http://schemas.xmlsoap.org/ws/2004/08/addressing
//gsoap wsa schema elementForm: qualified
//gsoap wsa schema attributeForm: unqualified
//gsoap wsd schema namespace: http://schemas.xmlsoap.org/ws/2005/04/discovery
//gsoap wsd schema elementForm: qualified
//gsoap wsd schema attributeForm: unqualified
//gsoap pwg schema namespace: http://schemas.zq.com/schemas/imaging/con/pwg/sm/1.0
//gsoap pwg schema elementForm: qualified
//gsoap dd schema namespace: http://schemas.zq.com/schemas/imaging/con/dictionaries/1.0
//gsoap dd schema elementForm: unqualified
//gsoap zqd schema namespace: http://schemas.zq.com/schemas/imaging/con/discovery/2006/09/19
//gsoap zqd schema elementForm: qualified

/******************************************************************************\
 * WS-Addressing
\******************************************************************************/

enum wsa__RelationshipTypeValues { wsa__Reply };

enum wsa__FaultSubcodeValues
{
  wsa__InvalidMessageInformationHeader,
  wsa__MessageInformationHeaderRequired,
  wsa__DestinationUnreachable,
  wsa__ActionNotSupported,
  wsa__EndpointUnavailable
};

// Text: the related MessageID. RelationshipType is kept as text, so that an
// unknown value survives.
struct wsa__Relationship
{
  char *__item;
  @_QName RelationshipType 0;
};

struct wsa__ReferencePropertiesType { };
struct wsa__ReferenceParametersType { };

struct wsa__ServiceNameType
{
  _QName __item;
  @char *PortName 0;
};

struct wsa__EndpointReferenceType
{
  char *wsa__Address 1;
  struct wsa__ReferencePropertiesType *wsa__ReferenceProperties 0;
  struct wsa__ReferenceParametersType *wsa__ReferenceParameters 0;
  _QName wsa__PortType 0;
  struct wsa__ServiceNameType *wsa__ServiceName 0;
};

typedef unsigned int _wsa__ReplyAfter;

/******************************************************************************\
 * The SOAP header of every message
\******************************************************************************/

struct SOAP_ENV__Header
{
  mustUnderstand char *wsa__MessageID 0;
  mustUnderstand struct wsa__Relationship *wsa__RelatesTo 0;
  mustUnderstand struct wsa__EndpointReferenceType *wsa__From 0;
  mustUnderstand struct wsa__EndpointReferenceType *wsa__ReplyTo 0;
  mustUnderstand struct wsa__EndpointReferenceType *wsa__FaultTo 0;
  mustUnderstand char *wsa__To 0;
  mustUnderstand char *wsa__Action 0;
};

/******************************************************************************\
 * WS-Discovery
\******************************************************************************/

typedef _QName wsd__QNameListType;
typedef char *wsd__UriListType;
typedef char *wsd__OpenRelationshipType;
typedef char *wsd__FaultCodeOpenType;

enum wsd__RelationshipType { wsd__Suppression };
enum wsd__FaultCodeType { wsd__MatchingRuleNotSupported };

struct wsd__ScopesType
{
  char *__item;
  @char *MatchBy 0;
};

struct wsd__ProbeType
{
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
};

struct wsd__ResolveType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
};

struct wsd__HelloType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int wsd__MetadataVersion 1;
};

struct wsd__ByeType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int *wsd__MetadataVersion 0;
};

struct wsd__ProbeMatchType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int wsd__MetadataVersion 1;
};

struct wsd__ProbeMatchesType
{
  $int __sizeProbeMatch 0;
  struct wsd__ProbeMatchType *wsd__ProbeMatch 0;
};

struct wsd__ResolveMatchType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int wsd__MetadataVersion 1;
};

struct wsd__ResolveMatchesType
{
  struct wsd__ResolveMatchType *wsd__ResolveMatch 0;
};

struct wsd__AppSequenceType
{
  @unsigned int InstanceId 1;
  @char *SequenceId 0;
  @unsigned int MessageNumber 1;
};
typedef struct wsd__AppSequenceType _wsd__AppSequence;

struct wsd__SigType
{
  @char *Scheme 1;
  @char *KeyId 0;   // base64 text
  @char *Refs 1;
  @char *Sig 1;     // base64 text
};
typedef struct wsd__SigType _wsd__Sig;

struct wsd__SecurityType
{
  struct wsd__SigType *wsd__Sig 0;
};
typedef struct wsd__SecurityType _wsd__Security;

typedef char *_wsd__Id;
typedef wsd__QNameListType _wsd__SupportedMatchingRules;

/******************************************************************************\
 * The vendor extension
\******************************************************************************/

typedef char *dd__HardwareAddressType;
typedef char *dd__UUIDType;
typedef char *dd__IPv4AddressType;
typedef char *dd__IPv6AddressType;
typedef char *dd__HostnameType;
typedef char *dd__SimAddressType;
typedef char *pwg__DeviceIdType;
typedef char *pwg__SerialNumberType;
typedef char *pwg__ServicesType;
typedef char *pwg__AdapterTypeType;

struct dd__IPv6AddressArrayType
{
  $int __sizeitem 0;
  dd__IPv6AddressType *item 0;
};

struct zqd__VendorExtensionType
{
  dd__HardwareAddressType dd__HardwareAddress 0;
  dd__UUIDType dd__UUID 0;
  dd__IPv4AddressType dd__IPv4Address 0;
  struct dd__IPv6AddressArrayType *dd__IPv6Address 0;
  dd__HostnameType dd__Hostname 0;
  pwg__DeviceIdType pwg__DeviceId 0;
  pwg__SerialNumberType pwg__SerialNumber 0;
  pwg__ServicesType pwg__Services 0;
  pwg__AdapterTypeType pwg__AdapterType 0;
  dd__SimAddressType dd__SimAddress 0;
};

/******************************************************************************\
 * What the family's devices send: the standard messages with the vendor
 * extension at their extension point. The element names stay the standard's.
\******************************************************************************/

struct wsd__HelloZQType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int wsd__MetadataVersion 1;
  struct zqd__VendorExtensionType *zqd__VendorExtension 0;
};

// MetadataVersion is optional here, unlike in the other three.
struct wsd__ByeZQType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int *wsd__MetadataVersion 0;
  struct zqd__VendorExtensionType *zqd__VendorExtension 0;
};

struct wsd__ProbeMatchZQType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int wsd__MetadataVersion 1;
  struct zqd__VendorExtensionType *zqd__VendorExtension 0;
};

struct wsd__ProbeMatchesZQType
{
  $int __sizeProbeMatch 0;
  struct wsd__ProbeMatchZQType *wsd__ProbeMatch 0;
};

struct wsd__ResolveMatchZQType
{
  struct wsa__EndpointReferenceType wsa__EndpointReference 1;
  wsd__QNameListType wsd__Types 0;
  struct wsd__ScopesType *wsd__Scopes 0;
  wsd__UriListType wsd__XAddrs 0;
  unsigned int wsd__MetadataVersion 1;
  struct zqd__VendorExtensionType *zqd__VendorExtension 0;
};

struct wsd__ResolveMatchesZQType
{
  struct wsd__ResolveMatchZQType *wsd__ResolveMatch 0;
};
